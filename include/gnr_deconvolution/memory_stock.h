// SPDX-License-Identifier: MIT
#pragma once

// A keyed store of memory blocks that a host keeps between the calls of a long restoration, and that it can
// park in a temporary file while it needs the memory for something else.
//
// Common to all: operations return 0, or -9, the only failure; nothing is thrown. A stock and its items belong
// to one thread at a time; different stocks may be used at once, swapped ones too.

#include <gnr_deconvolution/export.h>
#include <ry_system/string.h>

#include <map>

// -------------------------------------------------------------------------------------------------- block

/// One block of memory from CRyAlloc. An item whose pointer is null or whose size is 0 owns nothing.
///
/// Copies are shallow: both items then refer to one block, and the caller sees to it that only one of them
/// frees it. What the item that is assigned to held before is not freed.
class GNR_API CRyMemoryStockItem {
  public:
    CRyMemoryStockItem() = default;

    /// bTakeOwnership true: adopts the block, which must come from CRyAlloc, without a look at it.
    /// false: holds a copy; the item is empty where pvBlock is null, uiBytes is 0 or memory does not suffice.
    CRyMemoryStockItem(void* pvBlock, unsigned long long uiBytes, bool bTakeOwnership);

    CRyMemoryStockItem(const CRyMemoryStockItem&) = default;
    CRyMemoryStockItem& operator=(const CRyMemoryStockItem&) = default;

    /// Frees the block; the fields stay as they are.
    ~CRyMemoryStockItem();

    /// Frees the block and empties the item. Returns 0.
    int destroy();

    /// Copies n bytes of pv into the block; -9 without a block or where n is not its size.
    int commit(void* pv, unsigned long long n);

    /// Copies the block, of n bytes, to pv; -9 as for commit.
    int update(void* pv, unsigned long long n);

    /// Gives the address of the block itself, which stays the item's; -9 without a block or with size 0, and
    /// *ppv is left alone.
    int updatePtr(void** ppv);

    /// Reports both fields, empty or not. Returns 0.
    int GetMemAndSize(void*& pv, unsigned long long& n);

    void* pvData = nullptr;         ///< the block, or null
    unsigned long long uiSize = 0;  ///< its size in bytes
};

// -------------------------------------------------------------------------------------------------- stock

/// Blocks by key.
///
/// Copies are shallow: they hold the same items and name the same swap file, and a Swap of one takes the items
/// from under the other.
class GNR_API CRyMemoryStock {
  public:
    CRyMemoryStock() = default;
    CRyMemoryStock(const CRyMemoryStock&) = default;
    CRyMemoryStock& operator=(const CRyMemoryStock&) = default;

    /// Frees all blocks and removes the swap file. The emptied item objects stay allocated, since copies of the
    /// stock may still point to them; whoever wants their few bytes back deletes them afterwards.
    ~CRyMemoryStock();

    /// Moves all blocks into a new file under the temporary path and frees their memory. The keys stay, with null
    /// pointers; the items must come from `new`.
    ///
    /// The file holds one record an entry in ascending order of keys, no header, integers little-endian:
    ///   int32 L, the key as L 16-bit characters, uint32 S, the block of S bytes
    /// A key character beyond 16 bits is written as its surrogate pair. A block of 4 GiB or more is written whole,
    /// but with the low 32 bits of its size, and a key of more than 1024 characters as it is: such stocks cannot be
    /// read back.
    ///
    /// Returns  0; -9 where no file can be opened, memory does not suffice, the stock is swapped already or a
    ///          pointer is null, all with the blocks in place; -9 where the disk is full: the blocks are gone
    ///          from memory all the same, and those that did not get into the file are lost
    int Swap();

    /// Takes all blocks back and removes the file.
    ///
    /// Returns  0; -9 where the file cannot be opened, its keys are not those of the stock in their order, it ends
    ///          early, or memory does not suffice: the stock stays swapped, entries before that point are back,
    ///          and the file stays, so that Get may be called again. The contents of blocks carry no checksum.
    int Get();

    std::map<CRyStringW, CRyMemoryStockItem*> items;  ///< owned by the stock
    bool bSwapped = false;                            ///< the blocks are in the swap file
    CRyStringW strSwapFile;                           ///< its path, or empty
};
