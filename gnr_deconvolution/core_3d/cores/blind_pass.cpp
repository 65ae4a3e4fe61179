// SPDX-License-Identifier: MIT
#include "cores/blind_pass.h"

#include <cmath>

#include "cores/blur.h"
#include "kernels/blind_sweeps.h"
#include "kernels/richardson_lucy_update.h"

namespace gnr::detail {

namespace {

using Low = CRy3DDeconvolutionLow;

/// What a stop writes to the status.
constexpr int kStoppedWithinPass = -1;
/// Thresholds not above this switch the stop test off.
constexpr double kNoStopTest = -0.5;
/// A sum below this is not compensated.
constexpr double kLeastSum = 1e-10;
/// Relative change of the energy ratio below which it has settled.
constexpr double kSettled = 0.01;
/// Units of work that a reported sweep counts for.
constexpr unsigned kUnitsPerSweep = 4;

/// 1 / sum of the volume held fixed.
float Compensation(const BlindPass& p) {
    const float sum = Low::GetSumOfImageXX(&p.sizes, p.fixed);
    return static_cast<double>(sum) < kLeastSum ? 1.0f : 1.0f / sum;
}

/// The stop tests of a pass on the energy ratio E of image and PSF.
class EnergyTest {
  public:
    EnergyTest(const BlindForm& form, const BlindPass& p, bool accelerates)
        : p_(p),
          on_(static_cast<double>(p.stopEnergy) > kNoStopTest && (accelerates || form.testsPlainPasses)),
          settles_(form.endsWhenSettled && on_ && p.stopEnergy > 0.0f) {}

    /// Measures E; whether it lies beyond the threshold.
    bool EndsPass() {
        if (!on_) return false;
        before_ = now_;
        // The image comes first in either pass.
        now_ = p_.isOfImage ? Low::ComputeE8_3D(p_.updated, p_.fixed, &p_.sizes)
                            : Low::ComputeE8_3D(p_.fixed, p_.updated, &p_.sizes);
        return p_.isOfImage ? now_ < p_.stopEnergy : now_ > p_.stopEnergy;
    }

    /// Whether E has hardly moved since the sweep before, which sweep 0 does not have.
    bool HasSettled(unsigned i) const {
        return settles_ && i != 0 && static_cast<double>(std::fabs(1.0f - before_ / now_)) < kSettled;
    }

  private:
    const BlindPass& p_;
    bool on_;
    bool settles_;
    float before_ = 0.0f;
    float now_ = 0.0f;
};

// A  updated     B  fixed     g  observed     V  ratio of successive A     c  compensation of the sum of B
// R  back-projected ratio of this sweep; gradient1 and gradient2 hold the last and the last but one
class Sweeps {
  public:
    Sweeps(const BlindForm& form, const BlindPass& p, bool accelerates)
        : form_(form),
          p_(p),
          progress_(form.text, p.callback, p.hostPointer),
          accelerates_(accelerates),
          c_(Compensation(p)),
          scales_(form.scalesByOne || c_ != 1.0f),
          alpha_(form.firstAlpha) {
        Low::DFT3D_Transform_NonInPlace(&p.sizes, p.otf, p.fixed);
    }

    const Progress& progress() const { return progress_; }

    /// One sweep; false where a poll was answered with a stop.
    bool Do() {
        if (progress_.StopAtPoll()) return false;
        if (accelerates_) {
            form_.extrapolate(p_.sizes, p_.updated, p_.v, alpha_);
            if (progress_.StopAtPoll()) return false;
        }
        BlurWithOtf(p_.sizes, p_.scratch, p_.updated, p_.otf);
        if (progress_.StopAtPoll()) return false;
        form_.formRatio(p_.sizes, p_.scratch, p_.observed);
        BackProjectWithOtf(p_.sizes, p_.scratch, p_.otf);
        if (progress_.StopAtPoll()) return false;
        RichardsonLucyUpdate(p_.sizes, p_.updated, nullptr, p_.scratch, scales_ ? c_ : 1.0f, false);
        return !accelerates_ || LookAhead();
    }

  private:
    /// The next sweep's alpha.
    bool LookAhead() {
        if (progress_.StopAtPoll()) return false;
        Low::GetPVKM1_3D(p_.v, p_.updated, p_.previous, &p_.sizes);
        if (progress_.StopAtPoll()) return false;
        alpha_ = Low::Recompute_dAlphaK3D(p_.planes, p_.updated, p_.previous, p_.gradient1, p_.gradient2,
                                          &p_.sizes);
        if (progress_.StopAtPoll()) return false;
        CopyVolume(p_.sizes, p_.previous, p_.updated);
        CopyVolume(p_.sizes, p_.gradient2, p_.gradient1);
        CopyVolume(p_.sizes, p_.gradient1, p_.scratch);
        return true;
    }

    const BlindForm& form_;
    const BlindPass& p_;
    Progress progress_;
    bool accelerates_;
    float c_;
    bool scales_;
    float alpha_;
};

}  // namespace

unsigned RunBlindPass(const BlindForm& form, const BlindPass& p, bool accelerates) {
    Sweeps sweeps(form, p, accelerates);
    if (accelerates || form.fillsAlways)
        Low::SSE_SetOnesFour(p.v, p.previous, p.gradient1, p.gradient2, &p.sizes);
    CopyVolume(p.sizes, p.scratch, p.updated);

    const Progress& progress = sweeps.progress();
    const auto stoppedAfter = [&p](unsigned count) {
        p.status = kStoppedWithinPass;
        return count;
    };
    if (progress.StopAtPoll()) return stoppedAfter(0);

    const bool reports = p.reports && p.stopEnergy < 0.0f;
    EnergyTest energy(form, p, accelerates);
    for (unsigned i = 0; i < p.sweeps; ++i) {
        if (reports && progress.StopAtBegin()) return stoppedAfter(0);
        if (form.stopTest == StopTest::BeforeUpdate && energy.EndsPass()) return i + 1;
        if (!sweeps.Do()) return stoppedAfter(i + form.surplus);
        if (energy.HasSettled(i)) return i + 1;
        if (form.stopTest == StopTest::AfterUpdate && energy.EndsPass()) return i + 1;
        if (reports && progress.StopAtEnd(kUnitsPerSweep)) return stoppedAfter(0);
    }
    return p.sweeps + form.surplus;
}

}  // namespace gnr::detail
