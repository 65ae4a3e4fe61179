// SPDX-License-Identifier: MIT

// The entry for structured illumination against its double-precision twin: whole runs, a host that changes
// the volumes between passes, a stop at every progress call, threads 1, 2 and 5.

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <thread>

#include "support/ref/blind_calls.h"

namespace {

using namespace gnr::test;
using gnr::ref::BlindHost;
using gnr::ref::BlindJob;
using gnr::ref::FromVolume;
using gnr::ref::PaddedVolume;
using gnr::ref::StructuredBlind;

Volume MakeObserved(int x, int y, int z) {
    return Observed(Scene(x, y, z, 20, 400), AsymmetricPsf(x, y, z), 0.02f);
}

BlindJob Job(unsigned iterations, float stopE8 = -1.0f, BlindHost host = {}) {
    BlindJob job;
    job.iterations = iterations;
    job.stopE8 = stopE8;
    job.host = std::move(host);
    return job;
}

/// Records the volumes as they come, then lets `change` have them.
class BetweenPasses : public IRyIterationDataCallback {
  public:
    using Change = std::function<void(bool imagePass, int iteration, Volume& psf, Volume& image)>;
    struct Visit {
        bool imagePass;
        int iteration;
        int rows;
        int planes;
        float* psfBuffer;
        float* imageBuffer;
        Volume psf;
        Volume image;
        std::size_t progressCalls;
        std::thread::id thread;
    };

    BetweenPasses(const DFT3D& s, const StoppingHost& host, Change changeVolumes)
        : sizes_(s), host_(host), change_(std::move(changeVolumes)) {}

    void OnBeforePsfPass(int iIteration, int iRows, int iPlanes, float* pfPsf, float* pfImage) override {
        Record(false, iIteration, iRows, iPlanes, pfPsf, pfImage);
    }
    void OnBeforeImagePass(int iIteration, int iRows, int iPlanes, float* pfPsf, float* pfImage) override {
        Record(true, iIteration, iRows, iPlanes, pfPsf, pfImage);
    }
    virtual ~BetweenPasses() = default;

    std::vector<Visit> visits;

  private:
    void Record(bool imagePass, int iteration, int rows, int planes, float* psf, float* image) {
        visits.push_back({imagePass, iteration, rows, planes, psf, image, Held(psf), Held(image),
                          host_.log.Calls().size(), std::this_thread::get_id()});
        if (!change_) return;
        Volume changedPsf = Held(psf);
        Volume changedImage = Held(image);
        change_(imagePass, iteration, changedPsf, changedImage);
        std::copy_n(changedPsf.get(), sizes_.total, psf);
        std::copy_n(changedImage.get(), sizes_.total, image);
    }
    Volume Held(const float* samples) const {
        Volume v(sizes_);
        std::copy_n(samples, sizes_.total, v.get());
        return v;
    }

    DFT3D sizes_;
    const StoppingHost& host_;
    Change change_;
};

/// What hosts do between passes, for either side: on samples by number.
using Rule =
    std::function<double(bool ofImage, bool imagePass, int iteration, int i, int j, int k, double v)>;

/// Twin with the volumes that its host saw.
struct SeenRun {
    gnr::ref::BlindResult run;
    std::vector<PaddedVolume> volumes;  ///< PSF and image of each visit
    std::vector<std::size_t> progressCalls;
};

SeenRun Twin(const PaddedVolume& image, const PaddedVolume& psf, BlindJob job, const Rule& rule) {
    SeenRun seen{{image, psf}, {}, {}};
    job.betweenPasses = [&](bool imagePass, int iteration, PaddedVolume& nowPsf, PaddedVolume& nowImage) {
        seen.volumes.push_back(nowPsf);
        seen.volumes.push_back(nowImage);
        if (!rule) return;
        ForImageColumns(nowPsf, [&](int i, int j, int k) {
            nowPsf.at(i, j, k) = rule(false, imagePass, iteration, i, j, k, nowPsf.at(i, j, k));
            nowImage.at(i, j, k) = rule(true, imagePass, iteration, i, j, k, nowImage.at(i, j, k));
        });
    };
    seen.run = StructuredBlind(image, psf, job);
    return seen;
}

void Compare(const Volume& observed, const Volume& guess, const BlindJob& job, const Rule& rule = {},
             const std::vector<int>& threadCounts = {2}) {
    const PaddedVolume image = FromVolume(observed);
    const PaddedVolume psf = FromVolume(guess);
    const SeenRun exact = Twin(image, psf, job, rule);
    ExpectDecided(exact.run.trace);
    const auto disturbed = [&](auto pick) {
        return RoundingTolerance(pick(exact), [&](const gnr::ref::Disturbance& disturbance) {
            BlindJob shaken = job;
            shaken.disturbance = disturbance;
            return pick(Twin(image, psf, shaken, rule));
        });
    };
    const BlindExpectation expected = {exact.run, disturbed([](const SeenRun& r) { return r.run.image; }),
                                       disturbed([](const SeenRun& r) { return r.run.psf; })};
    std::vector<double> tolerances;
    for (std::size_t n = 0; n < exact.volumes.size(); ++n) {
        tolerances.push_back(disturbed([n](const SeenRun& r) { return r.volumes[n]; }));
    }
    for (const int threads : threadCounts) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        BlindCall call(observed, guess, job);
        const auto change = [&](bool imagePass, int iteration, Volume& nowPsf, Volume& nowImage) {
            if (!rule) return;
            ForEachSample(nowPsf, [&](int i, int j, int k) {
                float& p = nowPsf.at(i, j, k);
                float& v = nowImage.at(i, j, k);
                p = static_cast<float>(rule(false, imagePass, iteration, i, j, k, p));
                v = static_cast<float>(rule(true, imagePass, iteration, i, j, k, v));
            });
        };
        BetweenPasses between(observed.sizes, call.host, change);
        const int code = call.Structured(&between);
        ExpectSameRun(call, code, expected);

        ASSERT_EQ(between.visits.size(), 2 * std::size_t{job.iterations});
        for (std::size_t n = 0; n < between.visits.size(); ++n) {
            SCOPED_TRACE(n);
            const auto& visit = between.visits[n];
            EXPECT_EQ(visit.imagePass, n % 2 == 1);
            EXPECT_EQ(visit.iteration, static_cast<int>(n / 2));
            EXPECT_EQ(visit.rows, observed.y());
            EXPECT_EQ(visit.planes, observed.z());
            EXPECT_EQ(visit.psfBuffer, call.psf.get());
            EXPECT_EQ(visit.imageBuffer, call.image.get());
            EXPECT_EQ(visit.thread, std::this_thread::get_id());
            ExpectImageNear(visit.psf, exact.volumes[2 * n], tolerances[2 * n]);
            ExpectImageNear(visit.image, exact.volumes[2 * n + 1], tolerances[2 * n + 1]);
        }

        if (rule) continue;
        BlindCall alone(observed, guess, job);
        const int codeAlone = alone.Structured(nullptr);
        ExpectSameRun(alone, codeAlone, expected);
    }
}

// ------------------------------------------------------------------------------------------------ whole runs

struct Case {
    const char* name;
    unsigned iterations;
    double psfSum = 1.0;
    float stopE8 = -1.0f;
    int x = 6, y = 5, z = 4;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

class StructuredEntryCases : public testing::TestWithParam<Case> {};

TEST_P(StructuredEntryCases, WholeRun) {
    const Case& c = GetParam();
    Compare(MakeObserved(c.x, c.y, c.z), AsymmetricPsf(c.x, c.y, c.z, c.psfSum, 0.9),
            Job(c.iterations, c.stopE8), {}, {1, 2, 5});
}

INSTANTIATE_TEST_SUITE_P(Cases, StructuredEntryCases,
                         testing::Values(Case{"none", 0}, Case{"one", 1}, Case{"two", 2}, Case{"seven", 7},
                                         Case{"PSF sum 1.7", 5, 1.7}, Case{"PSF sum 0.4", 5, 0.4},
                                         Case{"PSF sum -2", 3, -2.0}, Case{"no test at 0", 3, 1.0, 0.0f},
                                         Case{"no test at 1e-3", 3, 1.0, 1e-3f},
                                         Case{"no test at 1e9", 3, 1.0, 1e9f},
                                         Case{"odd sides", 5, 1.2, -1.0f, 4, 7, 3},
                                         Case{"one plane", 5, 1.0, -1.0f, 6, 5, 1}));

TEST(StructuredEntryReference, NoIterationsCallNobody) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.3);
    for (const int iterations : {0, -1, -1000}) {
        BlindJob job = Job(static_cast<unsigned>(iterations), -1.0f, {0, true});
        BlindCall call(observed, guess, job);
        BetweenPasses between(observed.sizes, call.host, {});
        EXPECT_EQ(call.Structured(&between), 1);
        EXPECT_TRUE(between.visits.empty());
        EXPECT_TRUE(call.calls().empty());
        EXPECT_TRUE(SameBytes(call.image, observed));
        EXPECT_TRUE(SameBytes(call.psf, guess));
    }
}

TEST(StructuredEntryReference, NobodyNeedsToListen) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.2, 0.9);
    const ThreadCount scope(1);
    BlindCall heard(observed, guess, Job(5));
    BlindCall silent(observed, guess, Job(5));
    silent.listens = false;
    EXPECT_EQ(heard.Structured(nullptr), 1);
    EXPECT_EQ(silent.Structured(nullptr), 1);
    EXPECT_TRUE(silent.calls().empty());
    EXPECT_TRUE(SameImage(silent.image, heard.image));
    EXPECT_TRUE(SameImage(silent.psf, heard.psf));
}

TEST(StructuredEntryReference, WithoutMemoryNobodyIsCalled) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4);
    BlindCall call(observed, guess, Job(5));
    call.beyondMemory = true;
    BetweenPasses between(observed.sizes, call.host, {});
    EXPECT_EQ(call.Structured(&between), -9);
    EXPECT_TRUE(between.visits.empty());
    EXPECT_TRUE(call.calls().empty());
    EXPECT_TRUE(SameBytes(call.image, observed));
    EXPECT_TRUE(SameBytes(call.psf, guess));
}

/// Four polls a pass and nothing else; the host between passes is called before the first of each.
TEST(StructuredEntryReference, HostIsCalledBeforeThePollsOfItsPass) {
    const Volume observed = MakeObserved(4, 3, 5);
    BlindCall call(observed, AsymmetricPsf(4, 3, 5), Job(3));
    BetweenPasses between(observed.sizes, call.host, {});
    EXPECT_EQ(call.Structured(&between), 1);
    ASSERT_EQ(between.visits.size(), 6u);
    for (std::size_t n = 0; n < 6; ++n) EXPECT_EQ(between.visits[n].progressCalls, 4 * n);
    EXPECT_TRUE(SameCalls(call.calls(), std::vector<ProgressReport>(24, ReportOf(eProgressPoll))));
}

// ----------------------------------------------------------------------------------------- changing hosts

/// A host that changes one volume before one kind of pass, each kind by itself and all at once.
TEST(StructuredEntryHost, ChangesAreTaken) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.2, 0.9);
    for (int which = 1; which < 16; which = which < 8 ? 2 * which : which + 7) {
        SCOPED_TRACE(which);
        const Rule rule = [which](bool ofImage, bool imagePass, int iteration, int i, int j, int k,
                                  double v) {
            const int kind = (ofImage ? 1 : 2) << (imagePass ? 2 : 0);
            if ((which & kind) == 0) return v;
            return v * (1 + 0.25 * ((i + 2 * j + 3 * k + iteration) % 3));
        };
        Compare(observed, guess, Job(3), rule, {1, 2, 5});
    }
}

/// Changes reach the passes as held volumes, never as data: those stay what was observed at the start.
TEST(StructuredEntryHost, DataStayObserved) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.0, 0.9);
    const Rule replace = [](bool ofImage, bool imagePass, int, int i, int j, int k, double v) {
        return ofImage && !imagePass ? 40.0 + 13 * ((3 * i + j + 2 * k) % 5) : v;
    };
    Compare(observed, guess, Job(4), replace);
}

// -------------------------------------------------------------------------------------------------- stops

/// A stop ends its pass and nothing more; answered once or for good, the run ends with -1.
TEST(StructuredEntryStop, AtEveryCall) {
    const Volume observed = MakeObserved(4, 3, 5);
    const Volume guess = AsymmetricPsf(4, 3, 5, 1.4, 1.3);
    const Rule rule = [](bool ofImage, bool imagePass, int iteration, int i, int j, int k, double v) {
        return ofImage == imagePass ? v : v * (1 + 0.1 * ((i + 2 * j + 3 * k + iteration) % 3));
    };
    for (const bool persists : {false, true}) {
        for (int call = 0; call <= 24; ++call) {
            SCOPED_TRACE(call);
            const BlindJob job = Job(3, -1.0f, {call, persists});
            EXPECT_EQ(StructuredBlind(FromVolume(observed), FromVolume(guess), job).code, call < 24 ? -1 : 1);
            Compare(observed, guess, job);
            Compare(observed, guess, job, rule);
        }
    }
}

TEST(StructuredEntryReference, ZerosAndNegatives) {
    for (const float factor : {0.0f, -0.5f}) {
        Volume observed = MakeObserved(6, 5, 4);
        observed.Fill([&](int i, int j, int k) {
            return observed.at(i, j, k) * ((i + 2 * j + 3 * k) % 13 == 5 ? factor : 1.0f);
        });
        SCOPED_TRACE(factor);
        Compare(observed, AsymmetricPsf(6, 5, 4, 1.3, 1.1), Job(5));
    }
}

}  // namespace
