// SPDX-License-Identifier: MIT
#include "restoration/job.h"

#include <gnr_deconvolution/return_codes.h>

#include <chrono>
#include <cmath>
#include <cstdio>

#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "report/progress_bar.h"
#include "report/stop_request.h"
#include "restoration/frame_plan.h"
#include "restoration/margin.h"
#include "restoration/psf_source.h"

namespace rydecon {

namespace {

Extent ShapeOf(const StackHeader& header) {
    return {header.width, header.height, header.planes};
}

void RefuseOutputOverInput(const RestoreJob& job) {
    for (const auto& input : {job.image, job.psf}) {
        std::error_code ignored;
        if (std::filesystem::equivalent(input, job.output, ignored)) {
            throw UserError(job.output.string() + ": the output would replace an input; choose another name");
        }
    }
}

/// Reads the planes to the origin of the volume.
void LoadImage(StackReader& reader, const std::filesystem::path& path, const PaddedVolume& volume) {
    const Extent shape = ShapeOf(reader.header());
    long long nonFinite = 0;
    for (int k = 0; k < shape.z; ++k) {
        reader.ReadPlane(k, volume.Plane(k), volume.sizes().rowLength);
        for (int j = 0; j < shape.y; ++j) {
            const float* const row = volume.Row(j, k);
            for (int i = 0; i < shape.x; ++i) nonFinite += std::isfinite(row[i]) ? 0 : 1;
        }
    }
    if (nonFinite > 0) {
        throw UserError(path.string() + ": " + std::to_string(nonFinite) +
                        " samples are NaN or infinite; all must be finite numbers");
    }
}

/// A result that is no picture is an error, not an output.
void CheckResult(const PaddedVolume& volume, const Extent& shape) {
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) {
            const float* const row = volume.Row(j, k);
            for (int i = 0; i < shape.x; ++i) {
                if (!std::isfinite(row[i])) {
                    throw UserError(
                        "the restoration ran out of the range of numbers and gave NaN or infinite samples; "
                        "scale the image down or choose a stronger regularization");
                }
            }
        }
    }
}

void NoteDifferentPitch(const RestoreJob& job, const StackHeader& image, const StackHeader& psf,
                        const Messages& messages) {
    const auto differs = [](const std::optional<double>& a, const std::optional<double>& b) {
        return a && b && std::abs(*a - *b) > 0.02 * *a;
    };
    if (differs(image.voxel.x, psf.voxel.x) || differs(image.voxel.y, psf.voxel.y) ||
        differs(image.voxel.z, psf.voxel.z)) {
        messages.Note(job.psf.string() + ": the voxel size differs from that of " + job.image.string() +
                      "; the PSF is used sample by sample");
    }
}

struct ProgressRelay {
    ProgressBar bar;

    static int Call(const CRyStringW&, unsigned, unsigned, unsigned, unsigned n, ERyProgressPhase phase,
                    void* self) {
        if (phase == eProgressStepEnd) static_cast<ProgressRelay*>(self)->bar.Advance(n);
        return StopRequested() ? 1 : 0;
    }
};

/// Prepares and runs the core on the two volumes.
void RunCore(PreparedMethod& method, const PaddedVolume& image, const PaddedVolume& psf, const Extent& shape,
             const Messages& messages) {
    CRy3DDeconvRunParameters& params = *method.params;
    params.sizes = image.sizes();
    params.rcImage = {0, shape.x, 0, shape.y, 0, shape.z};
    if (method.core->Prepare(method.params) != gnr::kSuccess) {
        throw UserError("not enough memory: the method needs " +
                        std::to_string(method.core->GetRequiredMemorySize(method.params) / 1000000) +
                        " MB of working buffers; crop the stack or free memory");
    }
    ProgressRelay relay{ProgressBar(method.units, "restoring", messages)};
    params.pfImage = image.data();
    params.pfPsf = psf.data();
    params.pfnProgress = &ProgressRelay::Call;
    params.pProgressData = &relay;
    const int code = method.core->Run(method.params);
    relay.bar.Finish();
    method.core->Free();
    if (code == gnr::kStopped) throw UserError("stopped; nothing was written", ExitCode::Stopped);
    if (code != gnr::kSuccess) {
        throw UserError("the restoration failed with code " + std::to_string(code));
    }
}

void StopIfRequested() {
    if (StopRequested()) throw UserError("stopped; nothing was written", ExitCode::Stopped);
}

}  // namespace

void RunRestoreJob(const RestoreJob& job, const Messages& messages) {
    const auto start = std::chrono::steady_clock::now();
    RefuseOutputOverInput(job);
    PreparedMethod method = FindMethod(job.method).make(job.settings);

    StackReader reader(job.image, messages);
    const StackHeader header = reader.header();
    const Extent shape = ShapeOf(header);
    PsfSource psfSource(job.psf, messages);
    NoteDifferentPitch(job, header, psfSource.header(), messages);
    StackWriter writer(job.output, header, job.overwrite);

    const Extent frame = PlanFrame(shape, psfSource.reach());
    const PaddedVolume image(frame);
    LoadImage(reader, job.image, image);
    FillMargin(image, shape);
    const PaddedVolume psf(frame);
    psfSource.LayOut(psf);
    StopIfRequested();

    RunCore(method, image, psf, shape, messages);

    CheckResult(image, shape);
    for (int k = 0; k < shape.z; ++k) {
        StopIfRequested();
        writer.WritePlane(image.Plane(k), image.sizes().rowLength);
    }
    writer.Commit();

    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (!messages.quiet()) {
        std::printf("%s: %s samples, method %s, padded to %s, %.2f s\n", job.output.string().c_str(),
                    ToString(shape).c_str(), job.method.c_str(), ToString(frame).c_str(), elapsed.count());
    }
}

}  // namespace rydecon
