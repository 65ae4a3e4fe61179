// SPDX-License-Identifier: MIT
// Several volumes of one output, each a piece of its own.

#include <gtest/gtest.h>

#include <memory>

#include "restoration/blocks/piecewise_restoration.h"
#include "restoration/method_choice.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::GaussianPsf;
using test::MakeStack;
using test::Stack;
using PsfUse = VolumeRestoration::PsfUse;

/// A volume in memory, either side of a restoration.
class MemoryPlanes final : public PlaneSource, public PlaneSink {
  public:
    explicit MemoryPlanes(Stack stack) : stack_(std::move(stack)) {}
    Extent shape() const override { return {20, 18, 12}; }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override {
        for (int j = 0; j < 18; ++j) {
            for (int i = 0; i < 20; ++i) rows[j * rowStride + i] = stack_.At(i, j, k);
        }
    }
    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override {
        for (int j = 0; j < 18; ++j) {
            for (int i = 0; i < 20; ++i) {
                stack_.samples[static_cast<std::size_t>((k * 18 + j) * 20 + i)] = rows[j * rowStride + i];
            }
        }
    }
    Stack& stack() { return stack_; }

  private:
    Stack stack_;
};

class Volumes : public test::RestoreTest {
  protected:
    Volumes() : images_{Image(0), Image(5)}, results_{Image(0), Image(0)} {
        Write("psf.tif", GaussianPsf());
        job_.psf.file = In("psf.tif");
        job_.output = In("out.tif");
        job_.method = "lucy-richardson";
        job_.settings.iterations = 5;
    }
    static std::shared_ptr<MemoryPlanes> Image(int shift) {
        return std::make_shared<MemoryPlanes>(MakeStack(
            20, 18, 12, [=](int i, int j, int k) { return 3 + (i * 7 + j * 13 + k * 5 + shift) % 31; }));
    }
    /// Restores the first `count` volumes; which of them were there already.
    std::vector<unsigned> Run(unsigned count, bool resume) {
        job_.resumePieces = resume;
        PartFolder parts(job_.output, resume, quiet_);
        UnitWriter writer(parts);
        VolumeRestoration restoration(job_, *FindMethods(job_.method).volume, images_[0]->stack().header,
                                      quiet_);
        PiecewiseRestoration pieces(parts, writer, job_, *FindMethods(job_.method).volume, restoration,
                                    {{20, 18, 12}, 0, 2, 2}, quiet_);
        std::vector<unsigned> taken;
        for (unsigned volume = 0; volume < count; ++volume) {
            bool loaded = false;
            const VolumeRecord record = pieces.Restore(
                volume, {*images_[volume], results_[volume], nullptr, [&loaded] { loaded = true; }},
                PsfUse::Again);
            EXPECT_EQ(record.iterations, 5U);
            EXPECT_GT(record.fluxOut, 0.0);
            EXPECT_TRUE(loaded);
            taken.push_back(record.takenOver);
        }
        writer.Wait();
        if (count == 2) parts.Remove();
        return taken;
    }
    const Messages quiet_{true};
    RestoreJob job_;
    std::vector<std::shared_ptr<MemoryPlanes>> images_;
    std::vector<std::shared_ptr<MemoryPlanes>> results_;
};

TEST_F(Volumes, FinishedOnesAreTakenOver) {
    ASSERT_EQ(Run(2, false), (std::vector<unsigned>{0, 0}));
    EXPECT_FALSE(std::filesystem::exists(In("out.tif.parts")));
    const std::vector<float> first = results_[0]->stack().samples;
    const std::vector<float> second = results_[1]->stack().samples;
    ASSERT_NE(first, second);

    ASSERT_EQ(Run(1, false), (std::vector<unsigned>{0}));
    EXPECT_TRUE(std::filesystem::exists(In("out.tif.parts/volume-0000-block-00000.piece")));
    for (const auto& result : results_)
        std::fill(result->stack().samples.begin(), result->stack().samples.end(), -1.0f);
    ASSERT_EQ(Run(2, true), (std::vector<unsigned>{1, 0}));
    EXPECT_EQ(results_[0]->stack().samples, first);
    EXPECT_EQ(results_[1]->stack().samples, second);
}

TEST_F(Volumes, OnesOfAnotherImageAreMadeAnew) {
    Run(1, false);
    images_[0]->stack().samples[7] += 1.0f;
    EXPECT_EQ(Run(2, true), (std::vector<unsigned>{0, 0}));
}

}  // namespace
}  // namespace rydecon
