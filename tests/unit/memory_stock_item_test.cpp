// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/memory_stock.h>
#include <gtest/gtest.h>
#include <ry_system/alloc.h>

#include <array>
#include <cstring>
#include <type_traits>

namespace {

using Item = CRyMemoryStockItem;
using Five = std::array<char, 5>;

static_assert(std::is_same_v<decltype(Item::uiSize), unsigned long long>);
static_assert(!std::is_polymorphic_v<Item>);

constexpr Five kText = {'s', 't', 'o', 'c', 'k'};

void* NewBlock(const Five& text) {
    void* const block = CRyAlloc::Alloc(0, text.size());
    std::memcpy(block, text.data(), text.size());
    return block;
}

void ExpectEmpty(Item& item) {
    int mark = 0;
    void* block = &mark;
    unsigned long long size = 77;
    EXPECT_EQ(item.GetMemAndSize(block, size), 0);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(size, 0u);
}

TEST(MemoryStockItem, IsEmptyByDefault) {
    Item item;
    ExpectEmpty(item);
    EXPECT_EQ(item.destroy(), 0);
    ExpectEmpty(item);
}

TEST(MemoryStockItem, AdoptsTheBlockItself) {
    void* const block = NewBlock(kText);
    Item item(block, kText.size(), true);
    void* reported = nullptr;
    unsigned long long size = 0;
    EXPECT_EQ(item.GetMemAndSize(reported, size), 0);
    EXPECT_EQ(reported, block);
    EXPECT_EQ(size, kText.size());
}

TEST(MemoryStockItem, CopiesABlockThatItDoesNotAdopt) {
    Five source = kText;
    Item item(source.data(), source.size(), false);
    EXPECT_NE(item.pvData, static_cast<void*>(source.data()));
    source.fill('x');
    Five out{};
    EXPECT_EQ(item.update(out.data(), out.size()), 0);
    EXPECT_EQ(out, kText);
}

TEST(MemoryStockItem, CopyOfNothingIsEmpty) {
    Five source = kText;
    Item no_block(nullptr, 5, false);
    ExpectEmpty(no_block);
    Item no_size(source.data(), 0, false);
    ExpectEmpty(no_size);
}

TEST(MemoryStockItem, IsEmptyWhereMemoryDoesNotSuffice) {
    Five source = kText;
    Item item(source.data(), 1ULL << 62, false);
    ExpectEmpty(item);
}

/// The block of a half-empty item is not the item's to free; the sanitizers would tell.
TEST(MemoryStockItem, OwnsNothingWithOneFieldEmpty) {
    Five on_the_stack = kText;
    {
        Item no_size(on_the_stack.data(), 0, true);
        Item no_block(nullptr, 12, true);
        EXPECT_EQ(no_size.pvData, static_cast<void*>(on_the_stack.data()));
        EXPECT_EQ(no_block.uiSize, 12u);
    }
    EXPECT_EQ(on_the_stack, kText);
}

TEST(MemoryStockItem, DestroyEmptiesWhateverItHeld) {
    Five on_the_stack = kText;
    Item whole(NewBlock(kText), kText.size(), true);
    Item no_size(on_the_stack.data(), 0, true);
    Item no_block(nullptr, 12, true);
    for (Item* item : {&whole, &no_size, &no_block}) {
        EXPECT_EQ(item->destroy(), 0);
        ExpectEmpty(*item);
        EXPECT_EQ(item->destroy(), 0);
    }
}

TEST(MemoryStockItem, AssignmentIsShallow) {
    Item first(NewBlock(kText), kText.size(), true);
    Item second;
    second = first;
    EXPECT_EQ(second.pvData, first.pvData);
    EXPECT_EQ(second.uiSize, first.uiSize);

    Five other = {'o', 't', 'h', 'e', 'r'};
    EXPECT_EQ(second.commit(other.data(), other.size()), 0);
    Five seen{};
    EXPECT_EQ(first.update(seen.data(), seen.size()), 0);
    EXPECT_EQ(seen, other);
    second.pvData = nullptr;  // one owner frees
}

TEST(MemoryStockItem, CopyIsShallow) {
    Item first(NewBlock(kText), kText.size(), true);
    Item second(first);
    EXPECT_EQ(second.pvData, first.pvData);
    EXPECT_EQ(second.uiSize, first.uiSize);
    second.pvData = nullptr;
}

TEST(MemoryStockItem, CommitAndUpdateCopyTheWholeBlock) {
    Five source = kText;
    Item item(source.data(), source.size(), false);
    Five other = {'o', 't', 'h', 'e', 'r'};
    EXPECT_EQ(item.commit(other.data(), other.size()), 0);
    other.fill('x');
    Five seen{};
    EXPECT_EQ(item.update(seen.data(), seen.size()), 0);
    EXPECT_EQ(seen, (Five{'o', 't', 'h', 'e', 'r'}));
}

TEST(MemoryStockItem, OtherSizesAreRefusedWithoutACopy) {
    Five source = kText;
    Item item(source.data(), source.size(), false);
    std::array<char, 8> other;
    other.fill('x');
    for (const unsigned long long n : {0ULL, 4ULL, 6ULL, 5ULL + (1ULL << 32)}) {
        EXPECT_EQ(item.commit(other.data(), n), -9) << n;
        EXPECT_EQ(item.update(other.data(), n), -9) << n;
    }
    EXPECT_EQ(other[0], 'x');
    Five seen{};
    EXPECT_EQ(item.update(seen.data(), seen.size()), 0);
    EXPECT_EQ(seen, kText);
}

TEST(MemoryStockItem, AnEmptyItemRefusesEverything) {
    Item item;
    Five five = kText;
    void* block = five.data();
    EXPECT_EQ(item.commit(five.data(), 0), -9);
    EXPECT_EQ(item.update(five.data(), 0), -9);
    EXPECT_EQ(item.commit(five.data(), 5), -9);
    EXPECT_EQ(item.update(five.data(), 5), -9);
    EXPECT_EQ(item.updatePtr(&block), -9);
    EXPECT_EQ(block, static_cast<void*>(five.data()));
    EXPECT_EQ(five, kText);
}

TEST(MemoryStockItem, UpdatePtrGivesTheBlockItself) {
    Five source = kText;
    Item item(source.data(), source.size(), false);
    void* block = nullptr;
    ASSERT_EQ(item.updatePtr(&block), 0);
    static_cast<char*>(block)[0] = 'S';
    Five seen{};
    EXPECT_EQ(item.update(seen.data(), seen.size()), 0);
    EXPECT_EQ(seen, (Five{'S', 't', 'o', 'c', 'k'}));
}

TEST(MemoryStockItem, UpdatePtrRefusesABlockOfSizeZero) {
    Five source = kText;
    Item item(source.data(), 0, true);
    void* block = nullptr;
    EXPECT_EQ(item.updatePtr(&block), -9);
    EXPECT_EQ(block, nullptr);
}

}  // namespace
