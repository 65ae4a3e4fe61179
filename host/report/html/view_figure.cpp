// SPDX-License-Identifier: MIT

#include "report/html/view_figure.h"

#include <cmath>
#include <cstdio>

#include "report/html/markup.h"
#include "report/html/panels.h"
#include "report/projections.h"

namespace rydecon {
namespace {

const SamplePicture& Of(const OrthogonalViews& views, Plane plane) {
    return plane == Plane::XY ? views.xy : plane == Plane::YZ ? views.yz : views.xz;
}

/// The panels of one image, or of the difference; images(plane) are those of one panel.
template <class Images>
std::string Layer(const PanelGeometry& geometry, const std::string& style, const std::string& label,
                  Images images) {
    std::string html =
        "<div class=\"layer " + style + "\" style=\"grid-template-columns:" + geometry.Columns() + "\">";
    for (const Plane plane : {Plane::XY, Plane::YZ, Plane::XZ}) {
        if (plane != Plane::XY && !geometry.deep()) break;
        html += "<div class=\"frame\" style=\"aspect-ratio:" + geometry.AspectOf(plane) +
                "\"><div class=\"clip\">" + images(plane);
        if (plane == Plane::XY) html += Element("span", label, "class=\"tag\"");
        if (geometry.deep() && geometry.Lettered(plane)) {
            html += Element("span", NameOf(plane), "class=\"plane\"");
        }
        html += geometry.Bar(plane) + "</div></div>";
    }
    return html + "</div>";
}

Contrast ContrastOfViews(const OrthogonalViews& views) {
    return ContrastOf({&views.xy.samples, &views.xz.samples, &views.yz.samples});
}

Contrast CommonContrast(const VolumeViews& views) {
    return ContrastOf({&views.before.xy.samples, &views.before.xz.samples, &views.before.yz.samples,
                       &views.after.xy.samples, &views.after.xz.samples, &views.after.yz.samples});
}

std::string ImageLayer(const PanelGeometry& geometry, const OrthogonalViews& views, const std::string& style,
                       const Contrast& common) {
    const Contrast own = ContrastOfViews(views);
    return Layer(geometry, style, style, [&](Plane plane) {
        const SamplePicture& picture = Of(views, plane);
        const std::string what = std::string(NameOf(plane)) + " maximum projection " + style;
        return Image(PictureAddress(Drawn(picture, common)), "common", what + ", common contrast") +
               Image(PictureAddress(Drawn(picture, own)), "own", what + ", its own contrast");
    });
}

/// After minus before; 0 where one of them has no sample.
SamplePicture Subtract(const SamplePicture& after, const SamplePicture& before) {
    SamplePicture difference = after;
    for (std::size_t n = 0; n < difference.samples.size(); ++n) {
        const float value = after.samples[n] - before.samples[n];
        difference.samples[n] = std::isfinite(value) ? value : 0.0f;
    }
    return difference;
}

struct Difference {
    OrthogonalViews views;
    float limit = 0.0f;  // shown in the strongest colours

    explicit Difference(const VolumeViews& volume)
        : views{Subtract(volume.after.xy, volume.before.xy), Subtract(volume.after.xz, volume.before.xz),
                Subtract(volume.after.yz, volume.before.yz)} {
        OrthogonalViews sizes = views;
        for (auto* const picture : {&sizes.xy, &sizes.xz, &sizes.yz}) {
            for (float& sample : picture->samples) sample = std::abs(sample);
        }
        limit = ContrastOfViews(sizes).white;
    }
};

std::string DifferenceLayer(const PanelGeometry& geometry, const Difference& difference) {
    // Without any difference every limit shows the same, the middle of the palette.
    const float limit = difference.limit > 0.0f ? difference.limit : 1.0f;
    return Layer(geometry, "difference", "after − before", [&](Plane plane) {
        const GreyPicture drawn = Drawn(Of(difference.views, plane), {-limit, limit});
        return Image(PictureAddress(drawn, DivergingPalette()), "",
                     std::string(NameOf(plane)) + " difference of the maximum projections");
    });
}

std::string Choice(const std::string& id, const std::string& what, const std::string& value,
                   const std::string& label, bool checked) {
    return "<label><input type=\"radio\" name=\"" + id + "-" + what + "\" data-" + what + "=\"" + value +
           "\"" + (checked ? " checked" : "") + "><span>" + label + "</span></label>";
}

std::string Toolbar(const std::string& id) {
    return "<div class=\"toolbar\"><fieldset><legend>View</legend>" +
           Choice(id, "mode", "slider", "Slider", true) + Choice(id, "mode", "side", "Side by side", false) +
           Choice(id, "mode", "difference", "Difference", false) +
           "</fieldset><fieldset class=\"contrast\"><legend>Contrast</legend>" +
           Choice(id, "contrast", "common", "Common", true) +
           Choice(id, "contrast", "own", "Each its own", false) + "</fieldset></div>";
}

std::string Limits(const Contrast& contrast) {
    return "black " + ShownNumber(contrast.black) + ", white " + ShownNumber(contrast.white);
}

/// What the reader must know not to misread the pictures.
std::string ScaleNotes(const PanelGeometry& geometry, const VolumeViews& views) {
    const VoxelSize& voxel = views.header.voxel;
    std::string notes;
    if (!voxel.x) {
        notes += " The voxel size is unknown: there is no scale bar, and samples are drawn as squares.";
    } else if (!geometry.toScale()) {
        notes += " The voxel sizes of the axes differ too much to be drawn: samples are drawn as squares.";
    } else if (!voxel.y || (geometry.deep() && !voxel.z)) {
        notes += " The voxel size of an axis is unknown: it is drawn as that of x.";
    } else if (geometry.deep()) {
        notes += " All panels have one scale.";
    }
    if (views.reduction > 1) {
        notes += " Reduced for the page: each pixel is the largest of " + std::to_string(views.reduction) +
                 " samples along each axis.";
    }
    const std::uint64_t left = views.numbersBefore.nonFinite + views.numbersAfter.nonFinite;
    if (left > 0) {
        notes.append(" ").append(std::to_string(left)).append(" samples that are not finite are left out.");
    }
    return notes;
}

std::string Caption(const PanelGeometry& geometry, const VolumeViews& views, const Contrast& common,
                    float limit) {
    const std::string which = geometry.deep() ? "Maximum projections along z (XY), along y (XZ, z downwards) "
                                                "and along x (YZ, z to the right)."
                                              : "The picture, a single plane.";
    return "<figcaption>" + Escaped(which) + " " +
           Element("span", "Common contrast: " + Limits(common) + ", percentiles 1 and 99.9 of both images.",
                   "class=\"common\"") +
           Element("span",
                   "Each its own contrast, so that brightness must not be compared: before " +
                       Limits(ContrastOfViews(views.before)) + "; after " +
                       Limits(ContrastOfViews(views.after)) + " (percentiles 1 and 99.9).",
                   "class=\"own\"") +
           Element("span", " Grey is linear in intensity (gamma 1).", "class=\"grey\"") +
           Escaped(ScaleNotes(geometry, views)) + "<span class=\"palette\"><span>−" + ShownNumber(limit) +
           "</span><i></i><span>+" + ShownNumber(limit) +
           "</span> difference of the projections, after minus before; the limit is " +
           "percentile 99.9 of its size</span></figcaption>";
}

}  // namespace

std::string ViewFigure(const VolumeViews& views, const std::string& id) {
    const PanelGeometry geometry(views.header);
    const Contrast common = CommonContrast(views);
    const Difference difference(views);
    char aspect[32];
    std::snprintf(aspect, sizeof aspect, "%.4f", geometry.Aspect());
    return "<figure class=\"compare\" data-mode=\"slider\" data-contrast=\"common\" style=\"--aspect:" +
           std::string(aspect) + "\">" + Toolbar(id) + "<div class=\"stage\">" +
           ImageLayer(geometry, views.before, "before", common) +
           ImageLayer(geometry, views.after, "after", common) + DifferenceLayer(geometry, difference) +
           "</div><label class=\"divider\"><span>before</span><input type=\"range\" min=\"0\" max=\"100\" "
           "step=\"0.5\" value=\"50\" aria-label=\"Divider: the image before is left of it, the image after "
           "right of it\"><span>after</span></label>" +
           Caption(geometry, views, common, difference.limit) + "</figure>";
}

}  // namespace rydecon
