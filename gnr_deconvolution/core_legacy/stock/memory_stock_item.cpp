// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/memory_stock.h>
#include <gnr_deconvolution/return_codes.h>
#include <ry_system/alloc.h>

#include <cstddef>
#include <cstring>
#include <limits>

using namespace gnr;

namespace {

// Null pointers are no arguments of memcpy, not even for 0 bytes.
void CopyBytes(void* to, const void* from, unsigned long long bytes) {
    if (bytes != 0) std::memcpy(to, from, static_cast<std::size_t>(bytes));
}

}  // namespace

CRyMemoryStockItem::CRyMemoryStockItem(void* pvBlock, unsigned long long uiBytes, bool bTakeOwnership) {
    if (bTakeOwnership) {
        pvData = pvBlock;
        uiSize = uiBytes;
        return;
    }
    if (pvBlock == nullptr || uiBytes == 0 || uiBytes > std::numeric_limits<std::size_t>::max()) return;
    pvData = CRyAlloc::Alloc(0, static_cast<std::size_t>(uiBytes));
    if (pvData == nullptr) return;
    uiSize = uiBytes;
    CopyBytes(pvData, pvBlock, uiBytes);
}

CRyMemoryStockItem::~CRyMemoryStockItem() {
    if (pvData != nullptr && uiSize != 0) CRyAlloc::Free(pvData);
}

int CRyMemoryStockItem::destroy() {
    if (pvData != nullptr && uiSize != 0) CRyAlloc::Free(pvData);
    pvData = nullptr;
    uiSize = 0;
    return kSuccess;
}

int CRyMemoryStockItem::commit(void* pv, unsigned long long n) {
    if (pvData == nullptr || n != uiSize) return kNotReady;
    CopyBytes(pvData, pv, n);
    return kSuccess;
}

int CRyMemoryStockItem::update(void* pv, unsigned long long n) {
    if (pvData == nullptr || n != uiSize) return kNotReady;
    CopyBytes(pv, pvData, n);
    return kSuccess;
}

int CRyMemoryStockItem::updatePtr(void** ppv) {
    if (pvData == nullptr || uiSize == 0) return kNotReady;
    *ppv = pvData;
    return kSuccess;
}

int CRyMemoryStockItem::GetMemAndSize(void*& pv, unsigned long long& n) {
    pv = pvData;
    n = uiSize;
    return kSuccess;
}
