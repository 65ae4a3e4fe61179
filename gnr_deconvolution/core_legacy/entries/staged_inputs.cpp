// SPDX-License-Identifier: MIT
#include "entries/staged_inputs.h"

#include <memory>
#include <utility>

#include "kernels/richardson_lucy_update.h"

namespace gnr::detail {

namespace {

constexpr const wchar_t* kImage = L"image";
constexpr const wchar_t* kPsf = L"kernel";
constexpr const wchar_t* kObserved = L"pg";
constexpr const wchar_t* kOtf = L"ph";
constexpr const wchar_t* kLambda = L"fLambda";

using Low = CRy3DDeconvolutionLow;
using Bytes = unsigned long long;

Bytes VolumeBytes(const DFT3D& s) {
    return static_cast<Bytes>(s.total) * sizeof(float);
}

/// The item of a key; null where there is none.
CRyMemoryStockItem* Find(const CRyMemoryStock& stock, const wchar_t* key) {
    const auto entry = stock.items.find(CRyStringW(key));
    return entry != stock.items.end() ? entry->second : nullptr;
}

/// The stock's own volume of a key; null where there is none of this size.
float* FindVolume(const CRyMemoryStock& stock, const wchar_t* key, const DFT3D& s) {
    CRyMemoryStockItem* const item = Find(stock, key);
    void* block = nullptr;
    if (item == nullptr || item->uiSize != VolumeBytes(s) || item->updatePtr(&block) != 0) return nullptr;
    return static_cast<float*>(block);
}

/// Copies a parked block of so many bytes, where there is one.
void Update(const CRyMemoryStock& stock, const wchar_t* key, void* target, Bytes bytes) {
    if (CRyMemoryStockItem* const item = Find(stock, key)) item->update(target, bytes);
}

void Insert(CRyMemoryStock& stock, const wchar_t* key, std::unique_ptr<CRyMemoryStockItem> item) {
    CRyMemoryStockItem*& slot = stock.items[CRyStringW(key)];
    slot = item.release();
}

/// Parks a copy; false where the stock holds the key already.
bool ParkCopy(CRyMemoryStock& stock, const wchar_t* key, void* block, Bytes bytes) {
    if (Find(stock, key) != nullptr) return false;
    Insert(stock, key, std::make_unique<CRyMemoryStockItem>(block, bytes, false));
    return true;
}

/// Hands a volume over, unless the stock holds the key already.
void ParkVolume(CRyMemoryStock& stock, const wchar_t* key, ScratchVolume& volume, Bytes bytes) {
    if (Find(stock, key) != nullptr) return;
    // Never two owners, not even where the insertion throws.
    auto item = std::make_unique<CRyMemoryStockItem>();
    item->pvData = volume.release();
    item->uiSize = bytes;
    Insert(stock, key, std::move(item));
}

}  // namespace

bool StagedInputs::Begin(bool resume, CRyMemoryStock* stock, float* psf, float* image) {
    if (!resume) return Make(psf, image);
    return stock != nullptr && Take(*stock, psf, image);
}

bool StagedInputs::Make(const float* psf, const float* image) {
    ownG_.reset(Low::KERNEL3D_Create(&s_));
    ownOtf_.reset(Low::KERNEL3D_Create(&s_));
    if (ownG_ == nullptr || ownOtf_ == nullptr) return false;
    g_ = ownG_.get();
    otf_ = ownOtf_.get();
    CopyVolume(s_, g_, image);
    CopyVolume(s_, otf_, psf);
    Low::DFT3D_Transform(&s_, otf_);
    return true;
}

bool StagedInputs::Take(const CRyMemoryStock& stock, float* psf, float* image) {
    g_ = FindVolume(stock, kObserved, s_);
    otf_ = FindVolume(stock, kOtf, s_);
    if (g_ == nullptr || otf_ == nullptr) return false;
    Update(stock, kImage, image, VolumeBytes(s_));
    Update(stock, kPsf, psf, VolumeBytes(s_));
    Update(stock, kLambda, &lambda_, sizeof lambda_);
    return true;
}

void StagedInputs::Park(CRyMemoryStock& stock, float* psf, float* image) {
    const Bytes bytes = VolumeBytes(s_);
    if (!ParkCopy(stock, kImage, image, bytes)) Find(stock, kImage)->commit(image, bytes);
    ParkCopy(stock, kPsf, psf, bytes);
    if (ownG_ != nullptr) ParkVolume(stock, kObserved, ownG_, bytes);
    if (ownOtf_ != nullptr) ParkVolume(stock, kOtf, ownOtf_, bytes);
    ParkFloat(stock, kLambda, lambda_);
}

void ParkFloat(CRyMemoryStock& stock, const wchar_t* key, float value) {
    ParkCopy(stock, key, &value, sizeof value);
}

}  // namespace gnr::detail
