// SPDX-License-Identifier: MIT

#include "simulation/job.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "io/file_error.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "report/output_file.h"
#include "report/progress_bar.h"
#include "report/required_range.h"
#include "report/stop_request.h"
#include "report/user_error.h"
#include "simulation/blur.h"
#include "simulation/output_folder.h"
#include "simulation/phantom.h"
#include "simulation/point_spread.h"

namespace rydecon {
namespace {

constexpr unsigned kLeastSide = 8;
constexpr unsigned kLargestSide = 65536;
constexpr double kLargestNumber = 1.0e9;  // photons: far above any camera, exact in Poisson's arithmetic
constexpr Pitch kDefaultPitch = {0.1, 0.1, 0.3};

/// Units of the progress bar besides a unit a plane: the phantom, and the blur, which takes much longer.
constexpr unsigned kPhantomUnits = 4;
constexpr unsigned kBlurUnits = 32;

struct PointSpreadWithPitch {
    SampleBox samples;
    Pitch pitch;
};

void CheckSettings(const SimulationJob& job) {
    for (const unsigned side : job.size) RequireRange("--size: a side", side, kLeastSide, kLargestSide);
    if (job.pixel) {
        for (const double pitch : *job.pixel) RequireRange("--pixel: a value", pitch, 1.0e-6, 1.0e6);
    }
    RequireRange("--photons", job.photons, 1.0e-3, kLargestNumber);
    RequireRange("--background", job.camera.background, 0.0, kLargestNumber);
    RequireRange("--read-noise", job.camera.readNoise, 0.0, kLargestNumber);
}

Pitch ToPitch(const std::array<double, 3>& values) {
    return {values[0], values[1], values[2]};
}

SampleBox ReadStack(StackReader& reader) {
    const StackHeader& header = reader.header();
    SampleBox box({header.width, header.height, header.planes()});
    for (int k = 0; k < header.planes(); ++k) reader.ReadPlane(k, box.Row(0, k), header.width);
    return box;
}

bool SamePitch(double a, double b) {
    return std::abs(a - b) <= 0.02 * a;
}

/// --pixel before what the file of the PSF tells, and the default where neither does.
Pitch ChoosePitch(const SimulationJob& job, const VoxelSize& told, const Messages& messages) {
    const Pitch filled = {told.x.value_or(kDefaultPitch.x), told.y.value_or(kDefaultPitch.y),
                          told.z.value_or(kDefaultPitch.z)};
    if (!job.pixel) {
        if (!told.x || !told.y || !told.z) {
            messages.Note(Quoted(job.psf) +
                          " does not tell the whole voxel size; what is missing is taken as the default");
        }
        return filled;
    }
    const Pitch wanted = ToPitch(*job.pixel);
    if ((told.x && !SamePitch(*told.x, wanted.x)) || (told.y && !SamePitch(*told.y, wanted.y)) ||
        (told.z && !SamePitch(*told.z, wanted.z))) {
        messages.Note(Quoted(job.psf) +
                      " has another voxel size than --pixel; the PSF is used sample by sample");
    }
    return wanted;
}

PointSpreadWithPitch GaussianFor(const SimulationJob& job) {
    const Pitch pitch = job.pixel ? ToPitch(*job.pixel) : kDefaultPitch;
    // A wider one would be cut off by the stack.
    RequireRange("--sigma: x", job.sigma[0], 0.0, pitch.x * job.size[0]);
    RequireRange("--sigma: y", job.sigma[1], 0.0, pitch.y * job.size[1]);
    RequireRange("--sigma: z", job.sigma[2], 0.0, pitch.z * job.size[2]);
    return {GaussianPointSpread(ToPitch(job.sigma), pitch), pitch};
}

PointSpreadWithPitch MakePointSpread(const SimulationJob& job, const Messages& messages) {
    if (job.psf.empty()) return GaussianFor(job);
    StackReader reader(job.psf, messages);
    SampleBox samples = CentredPointSpread(ReadStack(reader), job.psf, messages);
    return {std::move(samples), ChoosePitch(job, reader.header().voxel, messages)};
}

/// The system grants more memory than there is and ends the program later; so the machine's own is asked for.
void RequireMemory(const Extent& size, const Extent& pointSpread) {
    const auto samples = static_cast<std::uint64_t>(size.x) * static_cast<std::uint64_t>(size.y) *
                         static_cast<std::uint64_t>(size.z);
    const std::uint64_t needed = 2 * sizeof(float) * samples + BlurBytes(size, pointSpread);
    const std::uint64_t present = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                                  static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    if (needed <= present) return;
    throw UserError("not enough memory: the simulation needs " + std::to_string(needed / 1000000) +
                    " MB, this machine has " + std::to_string(present / 1000000) +
                    " MB; choose a smaller --size");
}

StackHeader HeaderFor(const Extent& size, const Pitch& pitch) {
    StackHeader header;
    header.width = size.x;
    header.height = size.y;
    header.slices = size.z;
    header.voxel = {pitch.x, pitch.y, pitch.z};
    return header;
}

/// Brings the image to `photons` in its brightest sample, and the object with it.
void ScaleToPhotons(SampleBox& object, SampleBox& image, double photons) {
    const float brightest = *std::max_element(image.samples().begin(), image.samples().end());
    if (!(brightest > 0.0f)) throw UserError("the PSF leaves no light in the stack; choose another one");
    const double factor = photons / brightest;
    for (SampleBox* box : {&object, &image}) {
        for (float& sample : box->samples()) sample = static_cast<float>(sample * factor);
    }
}

/// The three files, under temporary names until all of them are whole.
class SimulationFiles {
  public:
    SimulationFiles(const SimulationJob& job, const StackHeader& stack, const StackHeader& pointSpread)
        : folder_(job.folder),
          paths_{job.folder / "truth.tif", job.folder / "psf.tif", job.folder / "blurred.tif"} {
        for (const auto& path : paths_) CheckOutputFile(path, job.overwrite, {job.psf});
        const std::array<const StackHeader*, 3> headers = {&stack, &pointSpread, &stack};
        for (std::size_t n = 0; n < paths_.size(); ++n) {
            writers_[n] = std::make_unique<StackWriter>(paths_[n], *headers[n], job.overwrite);
        }
    }

    StackWriter& truth() { return *writers_[0]; }
    StackWriter& psf() { return *writers_[1]; }
    StackWriter& blurred() { return *writers_[2]; }

    void Commit() {
        for (std::size_t n = 0; n < paths_.size(); ++n) {
            writers_[n]->Commit();
            folder_.TakeIn(paths_[n]);
        }
        folder_.Keep();
    }

  private:
    OutputFolder folder_;  // goes last, after the temporary files in it
    std::array<std::filesystem::path, 3> paths_;
    std::array<std::unique_ptr<StackWriter>, 3> writers_;
};

void WriteStack(StackWriter& writer, const SampleBox& box, ProgressBar& bar) {
    for (int k = 0; k < box.size().z; ++k) {
        LeaveIfStopRequested();
        writer.WritePlane(box.Row(0, k), box.size().x);
        bar.Advance(1);
    }
}

void WriteExposed(StackWriter& writer, SampleBox& image, const SimulationJob& job, ProgressBar& bar) {
    const Extent& size = image.size();
    const auto samples = static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y);
    for (int k = 0; k < size.z; ++k) {
        LeaveIfStopRequested();
        Expose(job.camera, job.seed, k, image.Row(0, k), samples);
        writer.WritePlane(image.Row(0, k), size.x);
        bar.Advance(1);
    }
}

}  // namespace

void RunSimulationJob(const SimulationJob& job, const Messages& messages) {
    CheckSettings(job);
    const Extent size = {static_cast<int>(job.size[0]), static_cast<int>(job.size[1]),
                         static_cast<int>(job.size[2])};
    const auto [pointSpread, pitch] = MakePointSpread(job, messages);
    RequireMemory(size, pointSpread.size());
    SimulationFiles files(job, HeaderFor(size, pitch), HeaderFor(pointSpread.size(), pitch));
    const auto planes = static_cast<unsigned>(2 * size.z + pointSpread.size().z);
    ProgressBar bar(kPhantomUnits + kBlurUnits + planes, "simulating", messages);

    SampleBox object = MakePhantom(size, pitch, job.seed);
    bar.Advance(kPhantomUnits);
    LeaveIfStopRequested();
    SampleBox image = object;
    Blur(image, pointSpread);
    bar.Advance(kBlurUnits);
    ScaleToPhotons(object, image, job.photons);

    WriteStack(files.truth(), object, bar);
    WriteStack(files.psf(), pointSpread, bar);
    WriteExposed(files.blurred(), image, job, bar);
    files.Commit();
    bar.Finish();
    if (!messages.quiet()) {
        std::printf("%s: %s samples, PSF %s, seed %llu\n", OneLine(job.folder.native()).c_str(),
                    ToString(size).c_str(), ToString(pointSpread.size()).c_str(),
                    static_cast<unsigned long long>(job.seed));
    }
}

}  // namespace rydecon
