// SPDX-License-Identifier: MIT
#include "restoration/staged_core.h"

#include <gnr_deconvolution/return_codes.h>

#include <algorithm>

namespace rydecon {

namespace {

/// A stock that deletes its items as well: there are no copies of it.
struct ParkedState {
    CRyMemoryStock stock;

    ParkedState() = default;
    ParkedState(const ParkedState&) = delete;
    ParkedState& operator=(const ParkedState&) = delete;
    ~ParkedState() {
        while (!stock.items.empty()) Drop(stock.items.begin());
    }

    /// Gives up what the caller holds itself; the entries pass over a key that is missing.
    void Drop(const wchar_t* key) {
        const auto found = stock.items.find(key);
        if (found != stock.items.end()) Drop(found);
    }

  private:
    void Drop(std::map<CRyStringW, CRyMemoryStockItem*>::iterator entry) {
        delete entry->second;
        stock.items.erase(entry);
    }
};

int CoreCode(int entry_code) {
    if (entry_code == gnr::kSuccessOfEntry) return gnr::kSuccess;
    return entry_code == gnr::kStopped ? gnr::kStopped : gnr::kOutOfMemory;
}

/// Counts work that an earlier run did.
void ReportDone(const CRy3DDeconvRunParameters& params, unsigned iterations) {
    if (params.pfnProgress == nullptr || iterations == 0) return;
    params.pfnProgress(CRyStringW(), 0, 0, 0, iterations, eProgressStepEnd, params.pProgressData);
}

}  // namespace

StagedCore::StagedCore(const StagedEntry& entry, unsigned stage, IterateSink* sink)
    : entry_(entry), stage_(std::max(stage, 1U)), sink_(sink) {}

unsigned long long StagedCore::GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    return entry_.volumes * sizeof(float) * static_cast<unsigned long long>(params->sizes.total);
}

int StagedCore::ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned divisorX,
                                         unsigned divisorY, unsigned divisorZ) {
    return CRy3DLucyRichardsonTMDeconvolutionCore(false).ModifyProposedDimensions(x, y, z, divisorX, divisorY,
                                                                                  divisorZ);
}

int StagedCore::Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> /*params*/) {
    return gnr::kSuccess;
}

int StagedCore::Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) {
    // No iterations: parks the observed image, the spectrum of the PSF and the weight.
    ParkedState parked;
    const int code = entry_.call(&params->sizes, params->pfPsf, params->pfImage, 0, nullptr, nullptr, 0, 0,
                                 static_cast<unsigned>(params->dRegularization), &parked.stock, false, true);
    if (code != gnr::kSuccessOfEntry) return CoreCode(code);
    parked.Drop(L"image");
    parked.Drop(L"kernel");
    return RunStages(*params, parked.stock);
}

int StagedCore::RunStages(CRy3DDeconvRunParameters& params, CRyMemoryStock& parked) {
    const unsigned limit = params.uiIterations;
    unsigned done = store_ != nullptr ? store_->Begin() : 0;
    ReportDone(params, done);
    const bool cut = entry_.restarts || (store_ != nullptr && store_->Saves());
    IterateRelay relay{params.pfImage, sink_, params.pfnProgress, params.pProgressData};
    while (done < limit) {
        const unsigned stage = cut ? std::min(stage_ - done % stage_, limit - done) : limit - done;
        const int code = entry_.call(&params.sizes, params.pfPsf, params.pfImage, static_cast<int>(stage),
                                     &IterateRelay::Call, &relay, 0, 0,
                                     static_cast<unsigned>(params.dRegularization), &parked, true, false);
        if (code != gnr::kSuccessOfEntry) return CoreCode(code);
        done += stage;
        if (store_ != nullptr && done % stage_ == 0) store_->EndOfStage(done);
    }
    return gnr::kSuccess;
}

int StagedCore::Free() {
    return gnr::kSuccess;
}

}  // namespace rydecon
