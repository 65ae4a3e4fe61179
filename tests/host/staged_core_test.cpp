// SPDX-License-Identifier: MIT
// The core that runs a staged entry: which calls it makes, what it parks, where it begins.

#include "restoration/staged_core.h"

#include <gnr_deconvolution/return_codes.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "volume/padded_volume.h"

namespace rydecon {
namespace {

constexpr Extent kFrame = {4, 3, 2};

/// What the entry was called with.
struct Call {
    int iterations;
    bool resume;
    bool store;
    std::vector<std::wstring> keys;

    friend bool operator==(const Call&, const Call&) = default;
};
std::vector<Call> calls;
int resultOfStages = gnr::kSuccessOfEntry;

std::vector<std::wstring> Keys(const CRyMemoryStock& stock) {
    std::vector<std::wstring> keys;
    for (const auto& [key, item] : stock.items) keys.emplace_back(key.c_str());
    return keys;
}

/// Counts an iteration by 1 in the first sample.
int CountingEntry(DFT3D*, float*, float* image, int iterations, RyProgressCallback callback, void* user, int,
                  int, unsigned, CRyMemoryStock* stock, bool resume, bool store) {
    calls.push_back({iterations, resume, store, Keys(*stock)});
    if (store) {
        for (const wchar_t* key : {L"image", L"kernel", L"pg", L"ph"}) {
            stock->items[key] = new CRyMemoryStockItem(image, sizeof *image, false);
        }
        return gnr::kSuccessOfEntry;
    }
    for (int k = 0; k < iterations; ++k) {
        image[0] += 1.0f;
        if (callback(CRyStringW(), 0, 0, 0, 1, eProgressStepEnd, user) != 0) return gnr::kStopped;
    }
    return resultOfStages;
}

class ScriptedStore final : public StageStore {
  public:
    unsigned Begin() override { return begin; }
    bool Saves() const override { return saves; }
    void EndOfStage(unsigned iterations) override { ends.push_back(iterations); }

    unsigned begin = 0;
    bool saves = true;
    std::vector<unsigned> ends;
};

class IterateLog final : public IterateSink {
  public:
    void OnIterate(float scale, const float* iterate) override {
        EXPECT_EQ(scale, 1.0f);
        seen.push_back(iterate[0]);
    }
    std::vector<float> seen;
};

class Stages : public testing::Test {
  protected:
    void SetUp() override {
        calls.clear();
        resultOfStages = gnr::kSuccessOfEntry;
    }
    int Run(bool restarts, StageStore* store, unsigned iterations, IterateSink* sink = nullptr) {
        auto* const core = new StagedCore({&CountingEntry, 4, restarts}, 10, sink);
        const CRyRefCountPtr<CRyAbstract3DDeconvolutionCore> owner(core);
        core->Release();
        core->set_store(store);
        auto params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener);
        params->sizes = volume_.sizes();
        params->pfImage = volume_.data();
        params->uiIterations = iterations;
        params->pfnProgress = [](const CRyStringW&, unsigned, unsigned, unsigned, unsigned n,
                                 ERyProgressPhase, void* self) {
            auto& stages = *static_cast<Stages*>(self);
            stages.units_ += n;
            return stages.units_ >= stages.stopAt_ ? 1 : 0;
        };
        params->pProgressData = this;
        return core->Run(params);
    }
    /// Iterations of the calls after the first, which parks.
    std::vector<int> Lengths() const {
        std::vector<int> lengths;
        EXPECT_EQ(calls.at(0), (Call{0, false, true, {}}));
        for (std::size_t n = 1; n < calls.size(); ++n) {
            EXPECT_EQ(calls[n], (Call{calls[n].iterations, true, false, {L"pg", L"ph"}}));
            lengths.push_back(calls[n].iterations);
        }
        return lengths;
    }

    PaddedVolume volume_{kFrame};
    ScriptedStore store_;
    unsigned units_ = 0;
    unsigned stopAt_ = 1000;
};

TEST_F(Stages, ARunThatIsSavedIsCut) {
    EXPECT_EQ(Run(false, &store_, 25), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{10, 10, 5}));
    EXPECT_EQ(store_.ends, (std::vector<unsigned>{10, 20}));
    EXPECT_EQ(units_, 25U);
    EXPECT_EQ(volume_.data()[0], 25.0f);
}

TEST_F(Stages, ARunThatNobodySavesIsCutOnlyWhereItMatters) {
    EXPECT_EQ(Run(false, nullptr, 25), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{25}));
    calls.clear();
    store_.saves = false;
    EXPECT_EQ(Run(false, &store_, 25), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{25}));
    calls.clear();
    EXPECT_EQ(Run(true, nullptr, 25), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{10, 10, 5}));
}

TEST_F(Stages, AResumedRunKeepsTheStagesOfTheWholeOne) {
    store_.begin = 20;
    EXPECT_EQ(Run(true, &store_, 33), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{10, 3}));
    EXPECT_EQ(store_.ends, (std::vector<unsigned>{30}));
    EXPECT_EQ(units_, 33U) << "what the earlier run did counts";
    calls.clear();
    store_.begin = 33;
    EXPECT_EQ(Run(true, &store_, 33), gnr::kSuccess);
    EXPECT_EQ(Lengths(), std::vector<int>());
}

TEST_F(Stages, NoIterationsGiveTheImageBack) {
    EXPECT_EQ(Run(true, &store_, 0), gnr::kSuccess);
    EXPECT_EQ(Lengths(), std::vector<int>());
    EXPECT_EQ(volume_.data()[0], 0.0f);
}

TEST_F(Stages, StopAndFailureEndTheRun) {
    stopAt_ = 13;
    EXPECT_EQ(Run(false, &store_, 40), gnr::kStopped);
    EXPECT_EQ(store_.ends, (std::vector<unsigned>{10}));
    resultOfStages = gnr::kNotReady;
    stopAt_ = 1000;
    EXPECT_EQ(Run(false, nullptr, 40), gnr::kOutOfMemory);
}

TEST_F(Stages, EachIterateIsShown) {
    IterateLog log;
    EXPECT_EQ(Run(true, nullptr, 12, &log), gnr::kSuccess);
    ASSERT_EQ(log.seen.size(), 12U);
    for (std::size_t n = 0; n < 12; ++n) EXPECT_EQ(log.seen[n], static_cast<float>(n + 1));
}

}  // namespace
}  // namespace rydecon
