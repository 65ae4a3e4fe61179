// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/object_frame.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace {

/// Counts what a pointer does to it.
struct Counted {
    void AddRef() const { ++references; }
    void Release() const { --references; }
    mutable int references = 0;
    int value = 7;
};
struct Derived : Counted {};
struct Stranger : Counted {};

using Pointer = CRyRefCountPtr<Counted>;
using DerivedPointer = CRyRefCountPtr<Derived>;

static_assert(!std::is_convertible_v<Counted*, Pointer>, "a raw pointer is taken on purpose only");
static_assert(std::is_constructible_v<Pointer, Counted*>);
static_assert(std::is_convertible_v<DerivedPointer, Pointer>);
static_assert(std::is_convertible_v<Pointer, CRyRefCountPtr<const Counted>>);
static_assert(!std::is_constructible_v<DerivedPointer, Pointer>, "no way down without a checked cast");
static_assert(!std::is_assignable_v<DerivedPointer&, Pointer>);
static_assert(!std::is_constructible_v<DerivedPointer, CRyRefCountPtr<Stranger>>);
static_assert(!std::is_convertible_v<Pointer, bool>);
static_assert(std::is_nothrow_move_constructible_v<Pointer> && std::is_nothrow_move_assignable_v<Pointer>);
static_assert(sizeof(Pointer) == sizeof(void*), "exactly one raw pointer");

TEST(SmartPointer, DefaultAndNullptrAreEmpty) {
    const Pointer byDefault;
    const Pointer byNullptr = nullptr;
    const Pointer byNullPointer(static_cast<Counted*>(nullptr));
    for (const Pointer& p : {byDefault, byNullptr, byNullPointer}) {
        EXPECT_FALSE(p);
        EXPECT_EQ(p.get(), nullptr);
        EXPECT_TRUE(p == nullptr);
    }
}

TEST(SmartPointer, TakingAPointerAddsAReferenceAndDroppingReleasesIt) {
    Counted object;
    {
        const Pointer p(&object);
        EXPECT_EQ(object.references, 1);
        EXPECT_EQ(p.get(), &object);
        EXPECT_TRUE(p);
        EXPECT_EQ(p->value, 7);
        EXPECT_EQ(&*p, &object);
    }
    EXPECT_EQ(object.references, 0);
}

TEST(SmartPointer, CopySharesAndMoveHandsOver) {
    Counted object;
    Pointer first(&object);
    Pointer copy(first);
    EXPECT_EQ(object.references, 2);
    Pointer moved(std::move(copy));
    EXPECT_EQ(object.references, 2);
    EXPECT_FALSE(copy);  // NOLINT(bugprone-use-after-move): a moved-from pointer is empty
    EXPECT_EQ(moved.get(), &object);
}

TEST(SmartPointer, ConvertsToABase) {
    Derived object;
    DerivedPointer derived(&object);
    const Pointer copy(derived);
    EXPECT_EQ(object.references, 2);
    const Pointer moved(std::move(derived));
    EXPECT_EQ(object.references, 2);
    EXPECT_FALSE(derived);  // NOLINT(bugprone-use-after-move)
    const CRyRefCountPtr<const Counted> toConst = moved;
    EXPECT_EQ(object.references, 3);
    EXPECT_EQ(toConst.get(), &object);
}

TEST(SmartPointer, AssignmentReleasesWhatWasHeld) {
    Counted before;
    Counted after;
    Pointer target(&before);
    const Pointer source(&after);
    target = source;
    EXPECT_EQ(before.references, 0);
    EXPECT_EQ(after.references, 2);

    Pointer other(&before);
    target = std::move(other);
    EXPECT_EQ(before.references, 1);
    EXPECT_EQ(after.references, 1);
    EXPECT_FALSE(other);  // NOLINT(bugprone-use-after-move)
}

TEST(SmartPointer, ConvertingAssignmentReleasesWhatWasHeld) {
    Counted before;
    Derived after;
    Pointer target(&before);
    DerivedPointer source(&after);
    target = source;
    EXPECT_EQ(before.references, 0);
    EXPECT_EQ(after.references, 2);

    target = Pointer(&before);
    target = std::move(source);
    EXPECT_EQ(before.references, 0);
    EXPECT_EQ(after.references, 1);
    EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move)
}

TEST(SmartPointer, SelfAssignmentKeepsTheObject) {
    Counted object;
    Pointer p(&object);
    Pointer& same = p;
    p = same;
    EXPECT_EQ(p.get(), &object);
    EXPECT_EQ(object.references, 1);
    p = std::move(same);
    EXPECT_EQ(p.get(), &object);
    EXPECT_EQ(object.references, 1);
}

TEST(SmartPointer, ResetAndNullptrDropTheReference) {
    Counted object;
    Pointer p(&object);
    p.reset();
    EXPECT_FALSE(p);
    EXPECT_EQ(object.references, 0);
    p.reset();
    EXPECT_FALSE(p);

    p = Pointer(&object);
    p = nullptr;
    EXPECT_FALSE(p);
    EXPECT_EQ(object.references, 0);
}

TEST(SmartPointer, ComparesByObject) {
    Derived one;
    Derived two;
    const DerivedPointer a(&one);
    const Pointer sameObject(&one);
    const DerivedPointer b(&two);
    EXPECT_TRUE(a == a);
    EXPECT_TRUE(a == sameObject);
    EXPECT_TRUE(sameObject == a);
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(a != sameObject);
    EXPECT_TRUE(a != nullptr);
    EXPECT_TRUE(nullptr != a);
    EXPECT_TRUE(nullptr == DerivedPointer());
}

// By value, as the operations of a core take it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
int ReferencesInside(CRyRefCountPtr<Counted> p) {
    return p->references;
}

TEST(SmartPointer, PassedByValueHoldsForTheLengthOfTheCall) {
    Counted object;
    const Pointer p(&object);
    EXPECT_EQ(ReferencesInside(p), 2);
    EXPECT_EQ(object.references, 1);
}

}  // namespace
