// SPDX-License-Identifier: MIT
// Writes the report of a made-up restoration: report_sample KIND OUT.html, for tests that open it in a browser.

#include <cstdio>
#include <limits>
#include <string>

#include "report/html/html_report.h"
#include "report_scene.h"

namespace rydecon::test {
namespace {

/// Two channels at two times, the last without pictures.
RestorationReport Channels() {
    const VoxelSize voxel = {0.16, 0.16, 0.5};
    const StackHeader header = HeaderOfShape(120, 100, 12, voxel);
    RestorationReport report = ReportOfShape(header);
    for (int n = 0; n < 4; ++n) {
        VolumeReport volume = VolumeOfScene(header, n);
        volume.channel = n < 2 ? "DAPI" : "GFP";
        volume.time = std::to_string(n % 2 + 1);
        volume.cutOff = 2.4;
        volume.psfs = {PsfOfScene(voxel)};
        if (n == 1) volume.warnings = {"12 samples are saturated: restored values there are no measurements"};
        if (n == 3) volume.views.reset();
        if (n == 0) {
            volume.agreement.label = "correlation";
            for (int i = 1; i <= 32; ++i) {
                volume.agreement.points.push_back({static_cast<double>(i), 0.9 + 0.004 * i - 0.0001 * i * i});
            }
        }
        report.volumes.push_back(std::move(volume));
    }
    report.warnings = {"the PSF has 90 nm pixels, the image 80 nm: it was resampled"};
    return report;
}

/// One stack, as most are.
RestorationReport OneStack() {
    const VoxelSize voxel = {0.2, 0.2, 0.6};
    const StackHeader header = HeaderOfShape(160, 128, 20, voxel);
    RestorationReport report = ReportOfShape(header);
    report.volumes = {VolumeOfScene(header)};
    report.volumes[0].psfs = {PsfOfScene(voxel)};
    report.volumes[0].cutOff = 2.1;
    return report;
}

/// One plane of unknown pitch, names that a page must not take for markup, and a curve of holes.
RestorationReport Awkward() {
    const StackHeader header = HeaderOfShape(90, 60, 1);
    RestorationReport report = ReportOfShape(header);
    report.input =
        "/tmp/<img src=x onerror=\"document.title='broken'\">&amp; 'Zellkern' Größe µ 細胞 \xff.tif";
    report.output = "</title></style><script>document.title='broken'</script>.tif";
    report.method = "rltm";
    report.perPicture = true;
    report.psfOrigin = PsfOrigin::File;
    report.psf = "psf\" onload=\"<b>.tif";
    report.settings.push_back({"<i>name</i>", "a < b & c", "\"quoted\""});
    report.warnings = {"</ul></section><script>document.title='broken'</script>"};
    VolumeReport volume = VolumeOfScene(header);
    const double hole = std::numeric_limits<double>::quiet_NaN();
    volume.convergence.points = {{1.0, hole}, {2.0, 3.0}, {3.0, hole}, {4.0, 2.0}, {5.0, -hole}};
    volume.stopReason = "<b>the limit</b>";
    std::vector<float> psf(15 * 15);
    for (int n = 0; n < 225; ++n) {
        psf[static_cast<std::size_t>(n)] =
            std::exp(-0.1f * static_cast<float>((n % 15 - 7) * (n % 15 - 7) + (n / 15 - 7) * (n / 15 - 7)));
    }
    volume.psfs = {DescribeSquarePsf(psf, 15, {})};
    volume.psfs[0].name = "<b>PSF</b>";
    report.volumes = {std::move(volume)};
    return report;
}

}  // namespace
}  // namespace rydecon::test

int main(int count, char** words) {
    using namespace rydecon::test;
    if (count != 3) return 2;
    const std::string kind = words[1];
    const auto report = kind == "channels" ? Channels() : kind == "stack" ? OneStack() : Awkward();
    rydecon::HtmlReportFile file(words[2], true);
    file.Write(report);
    file.Commit();
    return 0;
}
