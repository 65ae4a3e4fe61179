// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include "support/kernel_access.h"
#include "support/kernel_buffers.h"
#include "support/ref/plain_kernels.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Buffer;
using gnr::test::KernelAccess;
using gnr::test::kInfinity;
using gnr::test::kNaN;
using gnr::test::Same;
using gnr::test::SameFloats;
using gnr::test::Volume;

/// A geometry of n floats; the whole-buffer kernels read its total only.
DFT3D OfFloats(long long n) {
    return {static_cast<int>(n), 1, 1, static_cast<int>(n), n};
}

// ---- every count: results, and no float touched beyond (address sanitizer) -----------------------------

using ByVolume = void (*)(const DFT3D*, float*, float*);
using ByCount = void (*)(float*, float*, long long);
using Twin = Buffer (*)(const Buffer& a, const Buffer& b);

struct Operation {
    std::string name;
    ByVolume kernel;
    ByCount inlined;
    ByCount sse;
    Twin serialTwin;
    Twin sseTwin;
};

template <float (*op)(float, float)>
Buffer Real(const Buffer& a, const Buffer& b) {
    return gnr::ref::Each(a, b, op);
}
template <bool adjoint>
Buffer Complex(const Buffer& a, const Buffer& b) {
    return gnr::ref::ComplexMultiply(a, b, adjoint);
}

class EveryForm : public testing::TestWithParam<Operation> {};

TEST_P(EveryForm, EqualsItsPlainLoopForEveryCountUpTo100) {
    const Operation& op = GetParam();
    for (std::size_t n = 1; n <= 100; ++n) {
        const unsigned seed = static_cast<unsigned>(n);
        const Buffer a = gnr::test::AwkwardFloats(n, seed);
        const Buffer b = gnr::test::AwkwardFloats(n, seed + 1000);
        const DFT3D s = OfFloats(static_cast<long long>(n));

        Buffer result = a;
        Buffer second = b;
        op.kernel(&s, result.data(), second.data());
        ASSERT_TRUE(SameFloats(result, op.serialTwin(a, b))) << "KERNEL3D, n " << n;

        result = a;
        op.inlined(result.data(), second.data(), s.total);
        ASSERT_TRUE(SameFloats(result, op.serialTwin(a, b))) << "INLINE, n " << n;

        result = a;
        op.sse(result.data(), second.data(), s.total);
        ASSERT_TRUE(SameFloats(result, op.sseTwin(a, b))) << "SSE, n " << n;
        ASSERT_TRUE(SameFloats(second, b)) << "second operand, n " << n;
    }
}

TEST_P(EveryForm, TakesOneBufferAsBothOperands) {
    const Operation& op = GetParam();
    const Buffer a = gnr::test::AwkwardFloats(45, 3);
    const DFT3D s = OfFloats(45);
    Buffer result = a;
    op.kernel(&s, result.data(), result.data());
    EXPECT_TRUE(SameFloats(result, op.serialTwin(a, a)));
    result = a;
    op.sse(result.data(), result.data(), 45);
    EXPECT_TRUE(SameFloats(result, op.sseTwin(a, a)));
}

TEST_P(EveryForm, DoesNothingForNoFloats) {
    const Operation& op = GetParam();
    for (const long long n : {0LL, -1LL, -4LL, -9LL}) {
        Buffer a = {1.0f, 2.0f, 3.0f, 4.0f};
        Buffer b = {5.0f, 6.0f, 7.0f, 8.0f};
        const DFT3D s = OfFloats(n);
        op.kernel(&s, a.data(), b.data());
        op.inlined(a.data(), b.data(), n);
        op.sse(a.data(), b.data(), n);
        EXPECT_EQ(a, (Buffer{1.0f, 2.0f, 3.0f, 4.0f})) << n;
    }
}

INSTANTIATE_TEST_SUITE_P(
    ElementWise, EveryForm,
    testing::Values(Operation{"Add", Low::KERNEL3D_Add, KernelAccess::Add, Low::SSE_Add, Real<gnr::ref::Add>,
                              Real<gnr::ref::Add>},
                    Operation{"Subtract", Low::KERNEL3D_Subtract, KernelAccess::Subtract, Low::SSE_Subtract,
                              Real<gnr::ref::Subtract>, Real<gnr::ref::Subtract>},
                    Operation{"Multiply", Low::KERNEL3D_Multiply, KernelAccess::Multiply, Low::SSE_Multiply,
                              Real<gnr::ref::Multiply>, Real<gnr::ref::Multiply>},
                    Operation{"Divide", Low::KERNEL3D_Divide, KernelAccess::Divide, Low::SSE_Divide,
                              Real<gnr::ref::DivideOrKeep>, Real<gnr::ref::DivideOrZero>},
                    Operation{"ComplexMultiply", Low::KERNEL3D_ComplexMultiply, KernelAccess::ComplexMultiply,
                              Low::SSE_ComplexMultiply, Complex<false>, Complex<false>},
                    Operation{"ComplexMultiplyAdjoint", Low::KERNEL3D_ComplexMultiplyAdJoint,
                              KernelAccess::ComplexMultiplyAdjoint, Low::SSE_ComplexMultiplyAdjoint,
                              Complex<true>, Complex<true>}),
    [](const auto& instance) { return instance.param.name; });

TEST(KernelsElementWise, DivideOffEqualsItsPlainLoopForEveryCountUpTo100) {
    for (std::size_t n = 1; n <= 100; ++n) {
        const Buffer a = gnr::test::AwkwardFloats(n, static_cast<unsigned>(n));
        Buffer b = gnr::test::AwkwardFloats(n, static_cast<unsigned>(n) + 1000);
        const DFT3D s = OfFloats(static_cast<long long>(n));
        const auto op = [](float x, float y) { return gnr::ref::DivideOffOrKeep(x, y, 1.0f); };
        Buffer result = a;
        Low::KERNEL3D_DivideOff(&s, result.data(), b.data(), 1.0f);
        ASSERT_TRUE(SameFloats(result, gnr::ref::Each(a, b, op))) << n;
        result = a;
        KernelAccess::DivideOff(result.data(), b.data(), s.total, 1.0f);
        ASSERT_TRUE(SameFloats(result, gnr::ref::Each(a, b, op))) << n;
    }
}

TEST(KernelsElementWise, FillsAndCopiesTouchEveryFloatOfTheRangeAndNoOther) {
    for (long long n = 0; n <= 100; ++n) {
        const std::size_t count = static_cast<std::size_t>(n);
        const DFT3D s = OfFloats(n);
        const Buffer random = gnr::test::AwkwardFloats(count, 5);
        const Buffer zeros(count, 0.0f);
        const Buffer ones(count, 1.0f);

        Buffer a = random;
        Low::KERNEL3D_Zero(&s, a.data());
        ASSERT_TRUE(SameFloats(a, zeros));
        a = random;
        KernelAccess::Zero(a.data(), n);
        ASSERT_TRUE(SameFloats(a, zeros));

        Buffer source = random;
        Low::KERNEL3D_Copy(&s, a.data(), source.data());
        ASSERT_TRUE(SameFloats(a, random));
        a = zeros;
        KernelAccess::Copy(a.data(), source.data(), n);
        ASSERT_TRUE(SameFloats(a, random));

        Low::SSE_SetOnes(a.data(), &s);
        ASSERT_TRUE(SameFloats(a, ones));
        Buffer four[] = {random, random, random, random};
        Low::SSE_SetOnesFour(four[0].data(), four[1].data(), four[2].data(), four[3].data(), &s);
        for (const Buffer& p : four) ASSERT_TRUE(SameFloats(p, ones));
        for (Buffer& p : four) p = random;
        Low::SetOnesFour(four[0].data(), four[1].data(), four[2].data(), four[3].data(), &s);
        for (const Buffer& p : four) ASSERT_TRUE(SameFloats(p, ones));
    }
}

// ---- guards --------------------------------------------------------------------------------------------

TEST(KernelsElementWise, DivideTakesTheFirstOperandAsDenominator_stays) {
    Volume a(2, 1, 1);
    Volume b(2, 1, 1);
    std::fill_n(a.get(), 4, 2.0f);
    std::fill_n(b.get(), 4, 10.0f);
    Volume c = a;
    Low::KERNEL3D_Divide(&a.sizes, a, b);
    Low::SSE_Divide(c, b, 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(a[i], 5.0f);
        EXPECT_EQ(c[i], 5.0f);
    }
}

TEST(KernelsElementWise, DivideFormsDifferAtANegativeZeroDenominatorOnly_stays) {
    Buffer kept = {0.0f, -0.0f, 0.0f, -0.0f, kNaN, 4.0f, -0.0f, -0.0f};
    Buffer zeroed = kept;
    Buffer b = {5.0f, 5.0f, 0.0f, kInfinity, 1.0f, 2.0f, kNaN, -5.0f};
    const DFT3D s = OfFloats(8);
    Low::KERNEL3D_Divide(&s, kept.data(), b.data());
    Low::SSE_Divide(zeroed.data(), b.data(), 8);
    EXPECT_TRUE(SameFloats(kept, Buffer{0.0f, -0.0f, 0.0f, -0.0f, kNaN, 0.5f, -0.0f, -0.0f}));
    EXPECT_TRUE(SameFloats(zeroed, Buffer{0.0f, 0.0f, 0.0f, 0.0f, kNaN, 0.5f, 0.0f, 0.0f}));
}

TEST(KernelsElementWise, DivideOffGuardsTheDenominatorBufferAlone_stays) {
    Buffer a = {0.0f, -0.0f, -1.0f, -1.0f, 1.0f, kNaN};
    Buffer b = {5.0f, 5.0f, 5.0f, -1.0f, 5.0f, 5.0f};
    const DFT3D s = OfFloats(6);
    Low::KERNEL3D_DivideOff(&s, a.data(), b.data(), 1.0f);
    EXPECT_TRUE(SameFloats(a, Buffer{0.0f, -0.0f, kInfinity, kNaN, 3.0f, kNaN}));
}

// ---- range ---------------------------------------------------------------------------------------------

TEST(KernelsElementWise, WholeBufferIncludesThePadding) {
    Volume a(4, 3, 2);
    a.FillRandom(1, 1.0f, 2.0f).FillPadding(3.0f);
    Volume b = a;
    Low::KERNEL3D_Add(&a.sizes, a, b);
    EXPECT_TRUE(a.PaddingHolds(6.0f));
    Low::SSE_Add(a, b, a.sizes.total);
    EXPECT_TRUE(a.PaddingHolds(9.0f));
    Low::SSE_SetOnes(a, &a.sizes);
    EXPECT_TRUE(a.PaddingHolds(1.0f));
    Low::KERNEL3D_Zero(&a.sizes, a);
    EXPECT_TRUE(a.PaddingHolds(0.0f));
    Low::KERNEL3D_Copy(&a.sizes, a, b);
    EXPECT_TRUE(a.PaddingHolds(3.0f));
}

TEST(KernelsElementWise, ComplexKernelsLeaveTheLastFloatOfAnOddCount) {
    for (const long long n : {1LL, 3LL, 7LL, 9LL, 15LL}) {
        const std::size_t last = static_cast<std::size_t>(n) - 1;
        Buffer a = gnr::test::RandomFloats(last + 1, 1);
        Buffer b = gnr::test::RandomFloats(last + 1, 2);
        const float before = a[last];
        Low::SSE_ComplexMultiply(a.data(), b.data(), n);
        Low::SSE_ComplexMultiplyAdjoint(a.data(), b.data(), n);
        KernelAccess::ComplexMultiply(a.data(), b.data(), n);
        KernelAccess::ComplexMultiplyAdjoint(a.data(), b.data(), n);
        EXPECT_EQ(a[last], before) << n;
    }
}

// ---- spectra -------------------------------------------------------------------------------------------

TEST(KernelsElementWise, AdjointProductWithItselfIsThePowerSpectrum) {
    Volume a(6, 3, 2);
    a.FillRandom(9, -1.0f, 1.0f);
    Low::DFT3D_Transform(&a.sizes, a);
    Volume b = a;
    Volume power = a;
    Low::KERNEL3D_ComplexMultiplyAdJoint(&a.sizes, a, b);
    Low::PowerSpectrum(power, &power.sizes);
    for (long long i = 0; i < a.sizes.total; i += 2) {
        EXPECT_EQ(a[i], power[i]);
        EXPECT_EQ(a[i + 1], 0.0f);
    }
}

TEST(KernelsElementWise, SpectrumOfAnImpulseIsNeutral) {
    Volume impulse(6, 3, 2);
    impulse.at(0, 0, 0) = 1.0f;
    Low::DFT3D_Transform(&impulse.sizes, impulse);
    Volume a(6, 3, 2);
    a.FillRandom(9, -1.0f, 1.0f);
    Low::DFT3D_Transform(&a.sizes, a);
    Volume serial = a;
    Volume parallel = a;
    Low::KERNEL3D_ComplexMultiply(&a.sizes, serial, impulse);
    Low::SSE_ComplexMultiply(parallel, impulse, a.sizes.total);
    for (long long i = 0; i < a.sizes.total; ++i) {
        EXPECT_EQ(serial[i], a[i]) << i;
        EXPECT_EQ(parallel[i], a[i]) << i;
    }
}

}  // namespace
