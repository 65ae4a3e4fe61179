// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/parameters.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace {

/// An object made in memory full of other bytes, so that no default is there by chance.
template <class Object>
class MadeInUsedMemory {
  public:
    MadeInUsedMemory() : object_(::new (Used(memory_)) Object) {}
    MadeInUsedMemory(const MadeInUsedMemory&) = delete;
    MadeInUsedMemory& operator=(const MadeInUsedMemory&) = delete;
    ~MadeInUsedMemory() { object_->Object::~Object(); }
    const Object& operator*() const { return *object_; }

  private:
    using Memory = std::array<std::byte, sizeof(Object)>;
    static void* Used(Memory& memory) { return std::memset(memory.data(), 0xA5, memory.size()); }

    alignas(Object) Memory memory_;
    Object* object_;
};

void ExpectBaseDefaults(const CRy3DDeconvBaseParameters& p) {
    EXPECT_EQ(p.iRefCount, 1);
    EXPECT_TRUE(p.setZeroPtrs.empty());
    EXPECT_EQ(p.sizes.rowLength, 0);
    EXPECT_EQ(p.sizes.rows, 0);
    EXPECT_EQ(p.sizes.planes, 0);
    EXPECT_EQ(p.sizes.planeStride, 0);
    EXPECT_EQ(p.sizes.total, 0);
    EXPECT_EQ(p.eType, 3);
    EXPECT_EQ(p.iHostValue, 1);
    EXPECT_FALSE(p.bWienerStart);
    EXPECT_EQ(p.pHostData, nullptr);
}

void ExpectRunDefaults(const CRy3DDeconvRunParameters& p) {
    ExpectBaseDefaults(p);
    EXPECT_EQ(p.pfPsf, nullptr);
    EXPECT_EQ(p.pfImage, nullptr);
    EXPECT_EQ(p.pfnProgress, nullptr);
    EXPECT_EQ(p.pProgressData, nullptr);
    EXPECT_EQ(p.dRegularization, 0.0);
    EXPECT_EQ(p.dScale, 1.0);
    EXPECT_EQ(p.uiIterations, 1u);
    EXPECT_FALSE(p.bNoAutoStop);
    EXPECT_EQ(p.iHostValueA, 1);
    EXPECT_EQ(p.iHostValueB, 1);
    EXPECT_EQ(p.pfReference, nullptr);
    EXPECT_EQ(p.fReferenceSum, 1.0f);
    EXPECT_EQ(p.iHostValueC, 0);
    EXPECT_EQ(p.iHostValueD, 0);
    EXPECT_EQ(p.iHostValueE, 0);
    EXPECT_FALSE(p.bHostFlagB);
}

TEST(Parameters, DefaultsOfTheBase) {
    ExpectBaseDefaults(*MadeInUsedMemory<CRy3DDeconvBaseParameters>());
}

TEST(Parameters, DefaultsOfARun) {
    ExpectRunDefaults(*MadeInUsedMemory<CRy3DDeconvRunParameters>());
}

TEST(Parameters, DefaultsOfAnAutomaticRun) {
    const MadeInUsedMemory<CRy3DAutoDeconvRunParameters> params;
    ExpectRunDefaults(*params);
    EXPECT_EQ((*params).dStopRatio, 1.0007);
    EXPECT_EQ((*params).puiIterationsDone, nullptr);
}

TEST(Parameters, DefaultsOfABlindRun) {
    const MadeInUsedMemory<CRy3DBlindDeconvRunParameters> params;
    ExpectRunDefaults(*params);
    EXPECT_EQ((*params).iBlindInnerSetting, 0);
    EXPECT_FALSE((*params).bNoPsfGuard);
    EXPECT_EQ((*params).iBlindGuardSetting, 0);
}

TEST(Parameters, FieldsStandInTheOrderOfTheContract) {
    const CRy3DAutoDeconvRunParameters a;
    const CRy3DBlindDeconvRunParameters b;
    const auto expectAscending = [](const std::vector<const void*>& fields) {
        for (std::size_t n = 1; n < fields.size(); ++n) EXPECT_LT(fields[n - 1], fields[n]) << "field " << n;
    };
    expectAscending({&a.iRefCount,
                     &a.setZeroPtrs,
                     &a.csZeroPtrs,
                     &a.sizes,
                     &a.rcImage,
                     &a.eType,
                     &a.aHostWords,
                     &a.iHostValue,
                     &a.bWienerStart,
                     &a.pHostData,
                     &a.pfPsf,
                     &a.pfImage,
                     &a.pfnProgress,
                     &a.pProgressData,
                     &a.dRegularization,
                     &a.dScale,
                     &a.uiIterations,
                     &a.bNoAutoStop,
                     &a.iHostValueA,
                     &a.iHostValueB,
                     &a.aHostWordsA,
                     &a.pfReference,
                     &a.fReferenceSum,
                     &a.iHostValueC,
                     &a.iHostValueD,
                     &a.pHostWordB,
                     &a.bHostFlagA,
                     &a.iHostValueE,
                     &a.bHostFlagB,
                     &a.dStopRatio,
                     &a.puiIterationsDone});
    expectAscending(
        {&b.bHostFlagB, &b.fBlindValue, &b.iBlindInnerSetting, &b.bNoPsfGuard, &b.iBlindGuardSetting});
    static_assert(sizeof a.aHostWords == 40 && sizeof a.aHostWordsA == 16);
}

/// A different value in every field.
void FillRunFields(CRy3DDeconvRunParameters& p, float* buffers) {
    p.sizes = {6, 5, 4, 30, 120};
    p.rcImage = {1, 2, 3, 4, 5, 6};
    p.eType = eDeconvLandweber;
    for (unsigned n = 0; n < 5; ++n) p.aHostWords[n] = 100 + n;
    p.iHostValue = 7;
    p.bWienerStart = true;
    p.pHostData = buffers + 3;
    p.pfPsf = buffers;
    p.pfImage = buffers + 1;
    p.pfnProgress = [](const CRyStringW&, unsigned, unsigned, unsigned, unsigned, ERyProgressPhase, void*) {
        return 0;
    };
    p.pProgressData = buffers + 4;
    p.dRegularization = 2.5;
    p.dScale = 3.5;
    p.uiIterations = 44;
    p.bNoAutoStop = true;
    p.iHostValueA = 8;
    p.iHostValueB = 9;
    p.aHostWordsA[0] = 200;
    p.aHostWordsA[1] = 201;
    p.pfReference = buffers + 2;
    p.fReferenceSum = 4.5f;
    p.iHostValueC = 10;
    p.iHostValueD = 11;
    p.pHostWordB = buffers + 5;
    p.bHostFlagA = true;
    p.iHostValueE = 12;
    p.bHostFlagB = true;
}

void ExpectSameRunFields(const CRy3DDeconvRunParameters& a, const CRy3DDeconvRunParameters& b) {
    EXPECT_EQ(std::memcmp(&a.sizes, &b.sizes, sizeof a.sizes), 0);
    EXPECT_EQ(std::memcmp(&a.rcImage, &b.rcImage, sizeof a.rcImage), 0);
    EXPECT_EQ(a.eType, b.eType);
    EXPECT_EQ(std::memcmp(a.aHostWords, b.aHostWords, sizeof a.aHostWords), 0);
    EXPECT_EQ(a.iHostValue, b.iHostValue);
    EXPECT_EQ(a.bWienerStart, b.bWienerStart);
    EXPECT_EQ(a.pHostData, b.pHostData);
    EXPECT_EQ(a.pfPsf, b.pfPsf);
    EXPECT_EQ(a.pfImage, b.pfImage);
    EXPECT_EQ(a.pfnProgress, b.pfnProgress);
    EXPECT_EQ(a.pProgressData, b.pProgressData);
    EXPECT_EQ(a.dRegularization, b.dRegularization);
    EXPECT_EQ(a.dScale, b.dScale);
    EXPECT_EQ(a.uiIterations, b.uiIterations);
    EXPECT_EQ(a.bNoAutoStop, b.bNoAutoStop);
    EXPECT_EQ(a.iHostValueA, b.iHostValueA);
    EXPECT_EQ(a.iHostValueB, b.iHostValueB);
    EXPECT_EQ(std::memcmp(a.aHostWordsA, b.aHostWordsA, sizeof a.aHostWordsA), 0);
    EXPECT_EQ(a.pfReference, b.pfReference);
    EXPECT_EQ(a.fReferenceSum, b.fReferenceSum);
    EXPECT_EQ(a.iHostValueC, b.iHostValueC);
    EXPECT_EQ(a.iHostValueD, b.iHostValueD);
    EXPECT_EQ(a.pHostWordB, b.pHostWordB);
    EXPECT_EQ(a.bHostFlagA, b.bHostFlagA);
    EXPECT_EQ(a.iHostValueE, b.iHostValueE);
    EXPECT_EQ(a.bHostFlagB, b.bHostFlagB);
}

TEST(Parameters, AssignmentCopiesEveryFieldOfAnAutomaticRun) {
    float buffers[6] = {};
    unsigned done = 0;
    CRy3DAutoDeconvRunParameters source;
    FillRunFields(source, buffers);
    source.dStopRatio = 1.25;
    source.puiIterationsDone = &done;
    CRy3DAutoDeconvRunParameters target;
    target = source;
    ExpectSameRunFields(target, source);
    EXPECT_EQ(target.dStopRatio, 1.25);
    EXPECT_EQ(target.puiIterationsDone, &done);
}

TEST(Parameters, AssignmentCopiesEveryFieldOfABlindRun) {
    float buffers[6] = {};
    CRy3DBlindDeconvRunParameters source;
    FillRunFields(source, buffers);
    source.fBlindValue = 0.5f;
    source.iBlindInnerSetting = 1;
    source.bNoPsfGuard = true;
    source.iBlindGuardSetting = 7;
    CRy3DBlindDeconvRunParameters target;
    target = source;
    ExpectSameRunFields(target, source);
    EXPECT_EQ(target.fBlindValue, 0.5f);
    EXPECT_EQ(target.iBlindInnerSetting, 1);
    EXPECT_TRUE(target.bNoPsfGuard);
    EXPECT_EQ(target.iBlindGuardSetting, 7);
}

/// Deliberate: the copy leaves nothing out, not even who owns and who watches the source.
TEST(Parameters, AssignmentCopiesOwnerCountAndZeroPtrs_stays) {
    CRy3DDeconvRunParameters source;
    CRy3DDeconvRunParameters target;
    void* watchSource = &source;
    void* watchTarget = &target;
    source.AddRef();
    source.AddRef();
    source.AddZeroPtr(&watchSource);
    target.AddZeroPtr(&watchTarget);
    target = source;
    EXPECT_EQ(target.iRefCount, 3);
    EXPECT_EQ(target.setZeroPtrs, source.setZeroPtrs);

    // A deep copy: what happens to one set does not show in the other.
    target.RemoveZeroPtr(&watchSource);
    EXPECT_TRUE(target.setZeroPtrs.empty());
    EXPECT_EQ(source.setZeroPtrs.count(&watchSource), 1u);
}

TEST(Parameters, AssignmentGivesAFreshLock) {
    CRy3DDeconvRunParameters source;
    CRy3DDeconvRunParameters target;
    source.csZeroPtrs.lock();
    target = source;
    void* watch = nullptr;
    target.AddZeroPtr(&watch);
    target.RemoveZeroPtr(&watch);
    source.csZeroPtrs.unlock();
    source.AddZeroPtr(&watch);
    EXPECT_EQ(source.setZeroPtrs.size(), 1u);
}

TEST(Parameters, SelfAssignmentChangesNothing) {
    float buffers[6] = {};
    CRy3DAutoDeconvRunParameters params;
    FillRunFields(params, buffers);
    void* watch = &params;
    params.AddRef();
    params.AddZeroPtr(&watch);
    CRy3DAutoDeconvRunParameters expected;
    expected = params;
    CRy3DAutoDeconvRunParameters& same = params;
    params = same;
    ExpectSameRunFields(params, expected);
    EXPECT_EQ(params.iRefCount, 2);
    EXPECT_EQ(params.setZeroPtrs, expected.setZeroPtrs);
    params.RemoveZeroPtr(&watch);
    EXPECT_TRUE(params.setZeroPtrs.empty());
}

TEST(Parameters, CoresAssignAsPlainly) {
    const CRy3DWienerDeconvolutionCore source;
    CRy3DWienerDeconvolutionCore target;
    source.AddRef();
    void* watch = nullptr;
    source.AddZeroPtr(&watch);
    target = source;
    EXPECT_EQ(target.iRefCount, 2);
    EXPECT_EQ(target.setZeroPtrs.count(&watch), 1u);
}

TEST(Parameters, DerivedObjectsAreFreedThroughTheBase) {
    for (const auto eType : {eDeconvBlind, eDeconvWiener, eDeconvLandweberAutomatic}) {
        CRy3DDeconvBaseParameters* watch = nullptr;
        {
            const CRyRefCountPtr<CRy3DDeconvBaseParameters> base =
                CRy3DDeconvRunParameters::Create3DDeconvParameters(eType);
            watch = base.get();
            base->AddZeroPtr(&watch);
        }
        EXPECT_EQ(watch, nullptr);
    }
}

TEST(Parameters, AreMadeByEveryFormOfNew) {
    auto* const plain = new CRy3DDeconvRunParameters;
    plain->Release();

    auto* const quiet = new (std::nothrow) CRy3DBlindDeconvRunParameters;
    ASSERT_NE(quiet, nullptr);
    quiet->Release();

    alignas(CRy3DAutoDeconvRunParameters) std::array<std::byte, sizeof(CRy3DAutoDeconvRunParameters)> memory;
    auto* const placed = new (memory.data()) CRy3DAutoDeconvRunParameters;
    EXPECT_EQ(static_cast<void*>(placed), memory.data());
    EXPECT_EQ(placed->iRefCount, 1);
    placed->CRy3DAutoDeconvRunParameters::~CRy3DAutoDeconvRunParameters();
}

}  // namespace
