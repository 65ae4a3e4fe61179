// SPDX-License-Identifier: MIT

// What every iterative 3D core owes its host: Prepare, Run and Free in any order, codes, untouched inputs,
// balanced references, equal bytes at equal thread counts.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <thread>

#include "support/progress_log.h"
#include "support/restoration_job.h"
#include "support/sanitizer.h"

namespace {

using namespace gnr::test;

struct FixedCountCore : CRy3DLucyRichardsonTMDeconvolutionCore {
    FixedCountCore() : CRy3DLucyRichardsonTMDeconvolutionCore(false) {}
    static constexpr unsigned long long kBytesPerSample = 16;
};
struct AutomaticCore : CRy3DLucyRichardsonTMDeconvolutionCore {
    AutomaticCore() : CRy3DLucyRichardsonTMDeconvolutionCore(true) {}
    static constexpr unsigned long long kBytesPerSample = 16;
};
struct AcceleratedCore : CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore {
    static constexpr unsigned long long kBytesPerSample = 28;
};

/// A core whose Free gives the code it is told to.
template <class Core>
struct FreeAnswers : Core {
    int answer = 0;
    int Free() override {
        Core::Free();
        return answer;
    }
};

template <class Core>
class IterativeCoreContract : public testing::Test {
  protected:
    /// Samples of one job, and settings under which every part of the iteration has something to do.
    struct Job : RestorationJob<> {
        Job() : Job(8, 5, 4) {}
        Job(int x, int y, int z)
            : RestorationJob<>(Observed(Scene(x, y, z, 20, 400), AsymmetricPsf(x, y, z), 0.02f),
                               AsymmetricPsf(x, y, z)) {
            params.dRegularization = 1;
            params.uiIterations = 3;
            params.puiIterationsDone = &done;
        }
        unsigned done = 77;
    };
};

using Cores = testing::Types<FixedCountCore, AutomaticCore, AcceleratedCore>;
TYPED_TEST_SUITE(IterativeCoreContract, Cores);

TYPED_TEST(IterativeCoreContract, RequiredMemoryIsWhatPrepareAllocates) {
    TypeParam core;
    typename TestFixture::Job job;
    for (const auto& [x, y, z] : {std::tuple(8, 5, 4), std::tuple(2048, 2048, 1000)}) {
        job.params.sizes = Geometry(x, y, z);
        EXPECT_EQ(core.GetRequiredMemorySize(job.Ptr()),
                  TypeParam::kBytesPerSample * static_cast<unsigned long long>(job.params.sizes.total));
    }
}

TYPED_TEST(IterativeCoreContract, ProposedDimensionsAreRoundedUp) {
    TypeParam core;
    const auto rounded = [&](unsigned x, unsigned y, unsigned z, unsigned dx, unsigned dy, unsigned dz) {
        EXPECT_EQ(core.ModifyProposedDimensions(x, y, z, dx, dy, dz), 0);
        return std::tuple(x, y, z);
    };
    EXPECT_EQ(rounded(97, 101, 17, 2, 1, 16), std::tuple(100u, 108u, 32u));
    EXPECT_EQ(rounded(16, 16, 0, 16, 1, 1), std::tuple(16u, 16u, 1u));
    EXPECT_EQ(rounded(120, 97, 45, 2, 1, 1), std::tuple(120u, 100u, 45u));
}

TYPED_TEST(IterativeCoreContract, RunBeforePrepareTouchesNothing) {
    TypeParam core;
    typename TestFixture::Job job;
    ProgressLog log;
    log.Attach(job.params);
    const Volume before = job.image;
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_TRUE(SameBytes(job.image, before));
    EXPECT_TRUE(log.Calls().empty());
    EXPECT_EQ(job.done, 77u);
}

/// The missing buffers are reported before the class of the parameters is looked at.
TYPED_TEST(IterativeCoreContract, NotPreparedComesBeforeWrongParameters) {
    TypeParam core;
    typename TestFixture::Job job;
    RestorationJob<CRy3DDeconvRunParameters> plain(job.image, job.psf);
    EXPECT_EQ(core.Run(plain.Ptr()), -9);
}

TYPED_TEST(IterativeCoreContract, FreeAtAnyTimeAndMoreThanOnce) {
    TypeParam core;
    typename TestFixture::Job job;
    EXPECT_EQ(core.Free(), 0);
    ASSERT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Free(), 0);
    EXPECT_EQ(core.Free(), 0);
    const Volume before = job.image;
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_TRUE(SameBytes(job.image, before));
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

TYPED_TEST(IterativeCoreContract, PrepareAgainChangesTheGeometry) {
    TypeParam core;
    typename TestFixture::Job small(4, 3, 3);
    typename TestFixture::Job large(8, 5, 4);
    typename TestFixture::Job again(4, 3, 3);
    ASSERT_EQ(core.Prepare(small.Ptr()), 0);
    ASSERT_EQ(core.Prepare(small.Ptr()), 0);
    ASSERT_EQ(core.Run(small.Ptr()), 0);
    ASSERT_EQ(core.Prepare(large.Ptr()), 0);
    ASSERT_EQ(core.Run(large.Ptr()), 0);
    ASSERT_EQ(core.Prepare(again.Ptr()), 0);
    ASSERT_EQ(core.Run(again.Ptr()), 0);
    EXPECT_TRUE(SameImage(small.image, again.image));
}

TYPED_TEST(IterativeCoreContract, RunsRepeatWithEqualBytesAtEqualThreadCount) {
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        TypeParam core;
        typename TestFixture::Job first;
        typename TestFixture::Job between;
        typename TestFixture::Job second;
        between.image.FillRandom(99, 1, 50);
        ASSERT_EQ(core.Prepare(first.Ptr()), 0);
        ASSERT_EQ(core.Run(first.Ptr()), 0);
        ASSERT_EQ(core.Run(between.Ptr()), 0);
        ASSERT_EQ(core.Run(second.Ptr()), 0);
        EXPECT_TRUE(SameImage(first.image, second.image)) << threads;
        EXPECT_EQ(first.done, second.done);
    }
}

TYPED_TEST(IterativeCoreContract, AFreeThatFailsEndsPrepareWithoutBuffers) {
    FreeAnswers<TypeParam> core;
    typename TestFixture::Job job;
    core.answer = 5;
    EXPECT_EQ(core.Prepare(job.Ptr()), 5);
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    core.answer = 0;
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

TYPED_TEST(IterativeCoreContract, MoreMemoryThanThereIs) {
    TypeParam core;
    typename TestFixture::Job job;
    const DFT3D good = job.params.sizes;
    ASSERT_EQ(core.Prepare(job.Ptr()), 0);
    job.params.sizes.total = 1LL << 60;
    EXPECT_EQ(core.Prepare(job.Ptr()), -3);
    job.params.sizes = good;
    const Volume before = job.image;
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_TRUE(SameBytes(job.image, before));
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

/// Address space of this process, in bytes.
long long AddressSpace() {
    long long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

/// Room for two of the buffers: they stay held until Free, and the core is not ready.
TYPED_TEST(IterativeCoreContract, BuffersThatWereObtainedStayHeldUntilFree) {
    if (GNR_ADDRESS_SANITIZER) GTEST_SKIP() << "the sanitizer needs more address space than the limit leaves";
    TypeParam core;
    typename TestFixture::Job job;
    const DFT3D good = job.params.sizes;
    job.params.sizes = Geometry(1022, 128, 128);
    const long long buffer = job.params.sizes.total * static_cast<long long>(sizeof(float));
    const long long before = AddressSpace();
    ASSERT_GT(before, 0);

    rlimit usual{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &usual), 0);
    rlimit tight = usual;
    tight.rlim_cur = static_cast<rlim_t>(before + buffer * 5 / 2);
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    const int code = core.Prepare(job.Ptr());
    const long long held = AddressSpace() - before;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &usual), 0);

    EXPECT_EQ(code, -3);
    EXPECT_GE(held, 2 * buffer);
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_EQ(core.Free(), 0);
    EXPECT_LT(AddressSpace() - before, buffer);
    job.params.sizes = good;
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

TYPED_TEST(IterativeCoreContract, ReferencesToTheParametersAreDroppedOnEveryWayOut) {
    TypeParam core;
    typename TestFixture::Job job;
    const auto owners = [&] { return static_cast<int>(job.params.iRefCount); };
    core.GetRequiredMemorySize(job.Ptr());
    EXPECT_EQ(owners(), 1);
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_EQ(owners(), 1);
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(owners(), 1);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
    EXPECT_EQ(owners(), 1);
    ProgressLog log(0);
    log.Attach(job.params);
    EXPECT_EQ(core.Run(job.Ptr()), -8);
    EXPECT_EQ(owners(), 1);

    RestorationJob<CRy3DDeconvRunParameters> plain(job.image, job.psf);
    core.Run(plain.Ptr());
    EXPECT_EQ(static_cast<int>(plain.params.iRefCount), 1);
}

TYPED_TEST(IterativeCoreContract, InputsStayAsTheyWere) {
    QualityProbe<TypeParam> core;
    typename TestFixture::Job job;
    const Volume psf = job.psf;
    const Volume truth = Scene(8, 5, 4, 20, 400);
    const Volume truthBefore = truth;
    job.params.pfReference = truth.get();
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(SameBytes(job.psf, psf));
    EXPECT_TRUE(SameBytes(truth, truthBefore));
    EXPECT_EQ(job.params.uiIterations, 3u);
    EXPECT_EQ(job.params.dRegularization, 1.0);
    EXPECT_EQ(job.params.dStopRatio, 1.0007);
    EXPECT_EQ(job.params.pfImage, job.image.get());
    EXPECT_EQ(job.params.puiIterationsDone, &job.done);
}

TYPED_TEST(IterativeCoreContract, TheCountNeedNotBeAskedFor) {
    TypeParam core;
    typename TestFixture::Job job;
    typename TestFixture::Job unasked;
    unasked.params.puiIterationsDone = nullptr;
    ASSERT_EQ(RunOnce(core, job), 0);
    ASSERT_EQ(RunOnce(core, unasked), 0);
    EXPECT_TRUE(SameImage(job.image, unasked.image));
    EXPECT_EQ(unasked.done, 77u);
}

/// 4 by 3 by 3 takes 54 floats, no whole number of groups of four or eight.
TYPED_TEST(IterativeCoreContract, NothingIsWrittenBehindTheImage) {
    TypeParam core;
    typename TestFixture::Job job(4, 3, 3);
    const auto floats = static_cast<std::size_t>(job.image.sizes.total);
    const std::unique_ptr<float, void (*)(float*)> roomy(
        CRy3DDeconvolutionLow::SSE_Alloc(static_cast<long long>(floats) + 16),
        &CRy3DDeconvolutionLow::SSE_Destroy);
    std::copy_n(job.image.get(), floats, roomy.get());
    std::fill_n(roomy.get() + floats, 16, -kSentinel);
    job.params.pfImage = roomy.get();
    ASSERT_EQ(RunOnce(core, job), 0);
    for (std::size_t n = floats; n < floats + 16; ++n) EXPECT_EQ(roomy.get()[n], -kSentinel);

    job.params.pfImage = job.image.get();
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(std::memcmp(job.image.get(), roomy.get(), 4 * sizeof(float)), 0);
}

TYPED_TEST(IterativeCoreContract, AnImageOfZerosStaysZero) {
    TypeParam core;
    typename TestFixture::Job job;
    job.image.Fill([](int, int, int) { return 0; });
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(AllSamplesAre(job.image, 0.0f));
}

TYPED_TEST(IterativeCoreContract, CallbacksArriveOnTheCallersThread) {
    TypeParam core;
    typename TestFixture::Job job;
    ProgressLog log;
    int elsewhere = 0;
    log.onCall = [&, self = std::this_thread::get_id()](const ProgressReport&) {
        elsewhere += std::this_thread::get_id() != self || omp_in_parallel() != 0;
    };
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_FALSE(log.Calls().empty());
    EXPECT_EQ(elsewhere, 0);
}

/// A stop at the very first call does no iteration; any answer but 0 is a stop, and its value goes nowhere.
TYPED_TEST(IterativeCoreContract, AnyAnswerButZeroStops) {
    for (const int answer : {1, -1, 42}) {
        TypeParam core;
        typename TestFixture::Job job;
        ProgressLog log(0, answer);
        log.Attach(job.params);
        EXPECT_EQ(RunOnce(core, job), -8);
        EXPECT_EQ(log.Calls(), std::vector{ReportOf(eProgressStepBegin)});
    }
}

TYPED_TEST(IterativeCoreContract, WithoutAReferenceTheDiagnosticFileStaysAsItIs) {
    const TemporaryFolder folder;
    TypeParam core;
    typename TestFixture::Job job;
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_FALSE(folder.Diagnostic().has_value());
    folder.WriteDiagnostic("kept");
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(folder.Diagnostic(), "kept");
}

/// Nothing was measured, so nothing is written, although a reference is given.
TYPED_TEST(IterativeCoreContract, AStopBeforeTheFirstMeasurementTouchesNoFile) {
    const TemporaryFolder folder;
    folder.WriteDiagnostic("kept");
    TypeParam core;
    typename TestFixture::Job job;
    const Volume truth = Scene(8, 5, 4, 20, 400);
    job.params.pfReference = truth.get();
    ProgressLog log(0);
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), -8);
    EXPECT_EQ(folder.Diagnostic(), "kept");
}

}  // namespace
