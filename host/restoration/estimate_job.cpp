// SPDX-License-Identifier: MIT
#include "restoration/estimate_job.h"

#include <cstdio>

#include "io/stack_reader.h"
#include "report/user_error.h"
#include "restoration/blocks/run_forecast.h"
#include "restoration/method_choice.h"
#include "restoration/stack_volume.h"
#include "restoration/volume_restoration.h"

namespace rydecon {

namespace {

void PrintEstimate(const RestoreJob& job, const Method& method, const RunPlan& plan, int volumes) {
    const MemoryNeed& need = plan.need;
    std::printf("image          %s samples\n", ToString(plan.grid.shape()).c_str());
    if (volumes > 1) {
        const bool meanwhile = plan.overlapped && !plan.InBlocks();
        std::printf("volumes        %d, one after the other%s\n", volumes,
                    meanwhile ? "; the next one is read and the last one written meanwhile" : "");
    }
    std::printf("method         %s\n", method.name.c_str());
    std::printf("blocks         %s\n", ToString(plan.grid.counts()).c_str());
    std::printf("padded to      %s samples%s\n", ToString(plan.frame).c_str(),
                plan.InBlocks() ? " each" : "");
    std::printf("memory         %s (%llu bytes)\n", ByteText(need.Total()).c_str(),
                static_cast<unsigned long long>(need.Total()));
    std::printf("limit          %s (%s)\n", ByteText(plan.limit.bytes).c_str(), plan.limit.source.c_str());
    const auto seconds = ForecastSeconds(method, job.settings, plan);
    std::printf("time           %s\n",
                seconds ? TimeText(method, job.settings, *seconds * volumes).c_str() : "a few seconds");
}

}  // namespace

void RunEstimateJob(const RestoreJob& job, const Messages& messages) {
    const MethodChoice methods = MethodsForImage(job);
    if (methods.volume == nullptr) {
        throw UserError("--method " + methods.name() +
                        " restores a picture, which is soon done; there is no estimate for it");
    }
    CheckSettings(*methods.volume, job.settings);
    RequireSound(job.psf.optics);
    StackReader reader(job.image, messages, Accept::AnyStack);
    const SelectedStack stack(reader, job.image, job.channels, job.times);
    const StackHeader header = WithStatedVoxel(stack.header(), job.psf.optics);
    RestoreJob channel = job;
    channel.psf = PsfsOfChannels(job, stack).front();
    const VolumeRestoration restoration(channel, *methods.volume, HeaderOfChannel(header, 0), messages);
    const int volumes = header.channels * header.times;
    const RunPlan plan = PlanRun(channel, *methods.volume, restoration,
                                 {{header.width, header.height, header.slices},
                                  0,
                                  static_cast<unsigned>(header.times),
                                  static_cast<unsigned>(volumes)});
    PrintEstimate(job, *methods.volume, plan, volumes);
}

}  // namespace rydecon
