// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/parameters.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <thread>
#include <vector>

#include "support/probe_core.h"

namespace {

/// Both class families repeat the same operations, so each class is held to the same cases.
template <class Object>
class ReferenceCount : public testing::Test {};

using Classes =
    testing::Types<CRy3DDeconvBaseParameters, CRy3DDeconvRunParameters, CRy3DAutoDeconvRunParameters,
                   CRy3DBlindDeconvRunParameters, CRy3DWienerDeconvolutionCore, gnr::test::ProbeCore>;
TYPED_TEST_SUITE(ReferenceCount, Classes, );

/// Runs body(index) on several threads that start together.
template <class Body>
void OnThreads(int count, Body body) {
    std::atomic<bool> go = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) {
        threads.emplace_back([&, t] {
            while (!go) std::this_thread::yield();
            body(t);
        });
    }
    go = true;
    for (std::thread& t : threads) t.join();
}

TYPED_TEST(ReferenceCount, StartsWithOneOwnerAndCounts) {
    const auto* const object = new TypeParam;
    EXPECT_EQ(object->iRefCount, 1);
    object->AddRef();
    EXPECT_EQ(object->iRefCount, 2);
    object->Release();
    EXPECT_EQ(object->iRefCount, 1);
    object->Release();
}

TYPED_TEST(ReferenceCount, WorksThroughTheInterface) {
    const auto* const object = new TypeParam;
    const IRyRefCount* watch = object;
    const IRyRefCount* const counted = object;
    counted->AddRef();
    counted->AddZeroPtr(&watch);
    counted->Release();
    EXPECT_EQ(watch, counted);
    counted->Release();
    EXPECT_EQ(watch, nullptr);
}

TYPED_TEST(ReferenceCount, ZeroPtrBecomesNullWithTheLastReferenceOnly) {
    auto* const object = new TypeParam;
    TypeParam* watch = object;
    object->AddRef();
    object->AddZeroPtr(&watch);
    object->Release();
    EXPECT_EQ(watch, object);
    object->Release();
    EXPECT_EQ(watch, nullptr);
}

TYPED_TEST(ReferenceCount, EveryZeroPtrBecomesNullAndNothingBesideIt) {
    auto* const object = new TypeParam;
    TypeParam* watches[5] = {object, object, object, object, object};
    for (const int n : {3, 0, 4}) object->AddZeroPtr(&watches[n]);
    object->Release();
    for (const int n : {0, 3, 4}) EXPECT_EQ(watches[n], nullptr);
    for (const int n : {1, 2}) EXPECT_EQ(watches[n], object);
}

TYPED_TEST(ReferenceCount, ZeroPtrsStandAscendingByAddress) {
    auto* const object = new TypeParam;
    TypeParam* watches[4] = {};
    for (const int n : {2, 0, 3, 1}) object->AddZeroPtr(&watches[n]);
    EXPECT_TRUE(std::equal(object->setZeroPtrs.begin(), object->setZeroPtrs.end(), std::begin(watches),
                           std::end(watches), [](void* key, TypeParam*& watch) { return key == &watch; }));
    object->Release();
}

TYPED_TEST(ReferenceCount, RemovingAnUnknownZeroPtrChangesNothing) {
    auto* const object = new TypeParam;
    TypeParam* watch = object;
    TypeParam* unknown = object;
    object->AddZeroPtr(&watch);
    object->RemoveZeroPtr(&unknown);
    EXPECT_EQ(object->setZeroPtrs.size(), 1u);
    object->Release();
    EXPECT_EQ(watch, nullptr);
    EXPECT_NE(unknown, nullptr);
}

TYPED_TEST(ReferenceCount, AddingTwiceRegistersOnce) {
    auto* const object = new TypeParam;
    TypeParam* watch = object;
    object->AddZeroPtr(&watch);
    object->AddZeroPtr(&watch);
    EXPECT_EQ(object->setZeroPtrs.size(), 1u);
    object->RemoveZeroPtr(&watch);
    EXPECT_TRUE(object->setZeroPtrs.empty());
    object->Release();
    EXPECT_NE(watch, nullptr);
}

TYPED_TEST(ReferenceCount, CountsFromSeveralThreads) {
    auto* const object = new TypeParam;
    OnThreads(4, [object](int) {
        for (int n = 0; n < 5000; ++n) {
            object->AddRef();
            object->AddRef();
            object->Release();
        }
        for (int n = 0; n < 5000; ++n) object->Release();
    });
    EXPECT_EQ(object->iRefCount, 1);
    object->Release();
}

TYPED_TEST(ReferenceCount, RegistersZeroPtrsFromSeveralThreads) {
    constexpr int kThreads = 4;
    constexpr int kEach = 200;
    auto* const object = new TypeParam;
    std::vector<TypeParam*> watches(std::size_t{kThreads} * kEach, object);
    OnThreads(kThreads, [&](int t) {
        for (int n = 0; n < kEach; ++n) object->AddZeroPtr(&watches[static_cast<std::size_t>(t * kEach + n)]);
        for (int n = 1; n < kEach; n += 2) {
            object->RemoveZeroPtr(&watches[static_cast<std::size_t>(t * kEach + n)]);
        }
    });
    EXPECT_EQ(object->setZeroPtrs.size(), watches.size() / 2);
    object->Release();
    for (std::size_t n = 0; n < watches.size(); ++n) ASSERT_EQ(watches[n] == nullptr, n % 2 == 0) << n;
}

TYPED_TEST(ReferenceCount, OneThreadAloneTakesTheLastReference) {
    constexpr int kThreads = 4;
    for (int round = 0; round < 100; ++round) {
        auto* const object = new TypeParam;
        TypeParam* watch = object;
        object->AddZeroPtr(&watch);
        for (int t = 1; t < kThreads; ++t) object->AddRef();
        OnThreads(kThreads, [object](int) { object->Release(); });
        ASSERT_EQ(watch, nullptr);
    }
}

TEST(ReferenceCountOfCores, LastReferenceRunsTheDerivedDestructorOnce) {
    int destroyed = 0;
    const CRyAbstract3DDeconvolutionCore* const core = new gnr::test::ProbeCore(&destroyed);
    core->AddRef();
    core->Release();
    EXPECT_EQ(destroyed, 0);
    core->Release();
    EXPECT_EQ(destroyed, 1);
}

}  // namespace
