// SPDX-License-Identifier: MIT
#include "cores/blind_pass.h"

#include <cmath>
#include <utility>

#include "cores/blur.h"
#include "cores/psf_sum.h"
#include "kernels/richardson_lucy_update.h"

namespace gnr::detail {

namespace {

using Low = CRy3DDeconvolutionLow;

/// What a stop writes to the status.
constexpr int kStoppedWithinPass = -1;
/// Thresholds not above this switch the stop test off.
constexpr double kNoStopTest = -0.5;
/// Relative change of the energy ratio below which it has settled.
constexpr double kSettled = 0.01;
/// Units of work that a reported sweep counts for.
constexpr unsigned kUnitsPerSweep = 4;

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

/// What an accelerated pass remembers of its sweeps. Copies from volume to volume are put off to the next sweep
/// that reads them anyway, or, where they only change places, to the end of the pass.
//
// A  updated     V  A / previous, raised to alpha before the next sweep     R  back-projected ratio
class Acceleration {
  public:
    Acceleration(const BlindForm& form, const BlindPass& p)
        : p_(p), power_(form.power), alpha_(form.firstAlpha) {}

    /// A := A V^alpha
    void Extrapolate() {
        if (owesStep_) {
            StepAndExtrapolate(p_.sizes, p_.updated, p_.v, p_.previous, alpha_, power_);
        } else {
            detail::Extrapolate(p_.sizes, p_.updated, p_.v, alpha_, power_);
        }
        owesStep_ = owesPrevious_ = false;
    }
    /// Where the sweep puts R.
    float* BeginRatio() {
        ratioIsLast_ = false;
        return scratch_;
    }
    /// V := A / previous
    void TakeStep() { owesStep_ = true; }
    void ComputeAlpha() {
        alpha_ = ExponentOfStep(p_.sizes, p_.planes, p_.updated, p_.previous, last_, lastButOne_);
    }
    /// previous := A, R becomes the last one.
    void Remember() {
        owesPrevious_ = true;
        scratch_ = std::exchange(lastButOne_, std::exchange(last_, scratch_));
        ratioIsLast_ = true;
    }

    /// Gives every volume what belongs there.
    void Settle() {
        if (owesStep_) Step(p_.sizes, p_.updated, p_.v, p_.previous, owesPrevious_);
        owesStep_ = owesPrevious_ = false;
        if (scratch_ != p_.scratch || ratioIsLast_) {
            Arrange(p_.sizes, {p_.scratch, p_.gradient1, p_.gradient2},
                    {ratioIsLast_ ? last_ : scratch_, last_, lastButOne_});
        }
    }

  private:
    const BlindPass& p_;
    Power power_;
    float alpha_;
    bool owesStep_ = false;      ///< V is still to be formed
    bool owesPrevious_ = false;  ///< previous is still to take A
    float* scratch_ = p_.scratch;
    float* last_ = p_.gradient1;
    float* lastButOne_ = p_.gradient2;
    bool ratioIsLast_ = false;  ///< R has moved on, and its volume holds nothing yet
};

// A  updated     B  fixed     g  observed     c  compensation of the sum of B     R  back-projected ratio
class Pass {
  public:
    Pass(const BlindForm& form, const BlindPass& p, bool accelerates)
        : form_(form),
          p_(p),
          progress_(form.text, p.callback, p.hostPointer),
          energy_(form, p, accelerates),
          acceleration_(form, p),
          accelerates_(accelerates) {}

    void Prepare() {
        c_ = PsfSumCorrection(p_.sizes, p_.fixed);  // either volume blurs the other
        Low::DFT3D_Transform_NonInPlace(&p_.sizes, p_.otf, p_.fixed);
        if (accelerates_ || form_.fillsAlways) {
            Low::SSE_SetOnesFour(p_.v, p_.previous, p_.gradient1, p_.gradient2, &p_.sizes);
        }
        CopyVolume(p_.sizes, p_.scratch, p_.updated);
    }

    /// All sweeps; the count that the pass returns.
    unsigned Run() {
        if (progress_.StopAtPoll()) return StoppedAfter(0);
        const bool reports = p_.reports && p_.stopEnergy < 0.0f;
        for (unsigned i = 0; i < p_.sweeps; ++i) {
            if (reports && progress_.StopAtBegin()) return StoppedAfter(0);
            if (form_.stopTest == StopTest::BeforeUpdate && energy_.EndsPass()) return i + 1;
            if (!Sweep()) return StoppedAfter(i + form_.surplus);
            if (energy_.HasSettled(i)) return i + 1;
            if (form_.stopTest == StopTest::AfterUpdate && energy_.EndsPass()) return i + 1;
            if (reports && progress_.StopAtEnd(kUnitsPerSweep)) return StoppedAfter(0);
        }
        return p_.sweeps + form_.surplus;
    }

    void Settle() {
        if (accelerates_) acceleration_.Settle();
    }

  private:
    unsigned StoppedAfter(unsigned sweeps) const {
        p_.status = kStoppedWithinPass;
        return sweeps;
    }

    /// False where a poll was answered with a stop.
    bool Sweep() {
        if (progress_.StopAtPoll()) return false;
        if (accelerates_) {
            acceleration_.Extrapolate();
            if (progress_.StopAtPoll()) return false;
        }
        float* const R = acceleration_.BeginRatio();
        BlurWithOtf(p_.sizes, R, p_.updated, p_.otf);
        if (progress_.StopAtPoll()) return false;
        FormRatio(p_.sizes, R, p_.observed, form_.zeroDivisor);
        BackProjectWithOtf(p_.sizes, R, p_.otf);
        if (progress_.StopAtPoll()) return false;
        RichardsonLucyUpdate(p_.sizes, p_.updated, nullptr, R, c_, false);
        return !accelerates_ || LookAhead();
    }

    /// What the next sweep's extrapolation needs.
    bool LookAhead() {
        if (progress_.StopAtPoll()) return false;
        acceleration_.TakeStep();
        if (progress_.StopAtPoll()) return false;
        acceleration_.ComputeAlpha();
        if (progress_.StopAtPoll()) return false;
        acceleration_.Remember();
        return true;
    }

    const BlindForm& form_;
    const BlindPass& p_;
    Progress progress_;
    EnergyTest energy_;
    Acceleration acceleration_;
    bool accelerates_;
    float c_ = 1.0f;
};

}  // namespace

unsigned RunBlindPass(const BlindForm& form, const BlindPass& p, bool accelerates) {
    Pass pass(form, p, accelerates);
    pass.Prepare();
    const unsigned sweeps = pass.Run();
    pass.Settle();
    return sweeps;
}

}  // namespace gnr::detail
