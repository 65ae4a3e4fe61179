// SPDX-License-Identifier: MIT
#include "cleaning/cleaning.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "cleaning/background.h"
#include "cleaning/cleaned_planes.h"
#include "cleaning/hot_pixels.h"
#include "cleaning/plane_filters.h"
#include "io/file_error.h"

namespace rydecon {

namespace {

struct FirstLook {
    double least = std::numeric_limits<double>::infinity();
    double largest = -std::numeric_limits<double>::infinity();
    bool finite = true;
};

/// Of all samples; counts their levels.
FirstLook LookAt(PlaneSource& from, LevelCount& levels) {
    const Extent shape = from.shape();
    const std::size_t count = static_cast<std::size_t>(shape.x) * static_cast<std::size_t>(shape.y);
    FirstLook look;
    ForEachPlane(from, [&](const float* plane, int) {
        for (std::size_t n = 0; n < count; ++n) {
            look.least = std::min(look.least, double{plane[n]});
            look.largest = std::max(look.largest, double{plane[n]});
            look.finite = look.finite && std::isfinite(plane[n]);
        }
        if (levels.counts()) levels.Add(plane, count);
    });
    return look;
}

/// Finds where hot pixels begin, and how many there are.
void CountHotPixels(PlaneSource& from, Cleaning& cleaning) {
    cleaning.hotExcess = kHotTimesNoise * NoiseLevel(from);
    RepairedPlanes repaired(from, cleaning.hotExcess, cleaning.planesAlone);
    long long found = 0;
    ForEachPlane(repaired, [&](const float*, int) { found += repaired.replaced(); });
    const bool few =
        static_cast<double>(found) <= std::max(1.0, kMostHot * static_cast<double>(cleaning.samples));
    (few ? cleaning.hotPixels : cleaning.tooMany) = found;
}

std::string Number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

/// The numbers from the least to the largest of some.
struct Span {
    double least = std::numeric_limits<double>::infinity();
    double largest = -std::numeric_limits<double>::infinity();

    void Add(double value) {
        least = std::min(least, value);
        largest = std::max(largest, value);
    }
    bool empty() const { return least > largest; }
    std::string Text() const {
        return least == largest ? Number(least) : Number(least) + " to " + Number(largest);
    }
};

/// "12 samples (0.3 %)"
std::string CountText(long long count, long long all) {
    char text[80];
    std::snprintf(text, sizeof text, "%lld %s (%.2g %%)", count, count == 1 ? "sample" : "samples",
                  100.0 * static_cast<double>(count) / static_cast<double>(all));
    return text;
}

}  // namespace

Cleaning PlanCleaning(PlaneSource& from, const CleaningChoice& choice, const std::string& sampleType,
                      bool planesAlone, const std::filesystem::path& path) {
    const Extent shape = from.shape();
    Cleaning cleaning;
    cleaning.planesAlone = planesAlone;
    cleaning.samples = static_cast<long long>(shape.x) * shape.y * shape.z;
    cleaning.background = choice.background;
    LevelCount levels(sampleType, choice.significantBits);
    if (!levels.counts() && !choice.findBackground && !choice.background && !choice.repairHotPixels) {
        return cleaning;
    }
    const FirstLook look = LookAt(from, levels);
    cleaning.saturation = levels.Find();
    if (!look.finite) return cleaning;  // refused by whoever loads it
    if (choice.background && *choice.background >= look.largest) {
        throw UserError("--background " + Number(*choice.background) + " leaves nothing of " + Quoted(path) +
                        ", whose largest sample is " + Number(look.largest) +
                        "; give a smaller one, or auto");
    }
    if (look.least == look.largest) return cleaning;
    if (choice.repairHotPixels) CountHotPixels(from, cleaning);
    if (choice.findBackground) {
        CleanedPlanes repaired(from, cleaning);
        cleaning.background = EstimateBackground(repaired, look.least, look.largest);
        cleaning.backgroundEstimated = true;
    }
    return cleaning;
}

void TellCleaning(const Cleaning& cleaning, const std::filesystem::path& path, const Messages& messages) {
    TellCleaning(std::vector<Cleaning>{cleaning}, path, messages);
}

void TellCleaning(const std::vector<Cleaning>& cleanings, const std::filesystem::path& path,
                  const Messages& messages) {
    const FileNotes notes(path, messages);
    long long all = 0;
    for (const Cleaning& cleaning : cleanings) all += cleaning.samples;
    // One figure of each picture where its count is not 0: the sum of counts, and the span of the figure.
    const auto tell = [&](auto countOf, auto figureOf, const std::string& done, const std::string& more) {
        long long count = 0;
        Span span;
        for (const Cleaning& cleaning : cleanings) {
            if (countOf(cleaning) == 0) continue;
            count += countOf(cleaning);
            span.Add(figureOf(cleaning));
        }
        if (count > 0) notes.Note(CountText(count, all) + done + span.Text() + more);
    };
    tell([](const Cleaning& c) { return c.saturation.samples; },
         [](const Cleaning& c) { return c.saturation.level; }, " saturated, at ",
         "; rings around them are no structure");
    tell([](const Cleaning& c) { return c.hotPixels; }, [](const Cleaning& c) { return c.hotExcess; },
         " replaced as hot pixels, ", " and more above the median of their neighbours");
    tell([](const Cleaning& c) { return c.tooMany; }, [](const Cleaning& c) { return c.hotExcess; },
         " look like hot pixels, ",
         " and more above the median of their neighbours; so many are the image, and none is replaced");
    Span background;
    bool estimated = false;
    for (const Cleaning& cleaning : cleanings) {
        if (cleaning.background) background.Add(*cleaning.background);
        estimated = estimated || cleaning.backgroundEstimated;
    }
    if (background.empty()) return;
    if (background.Text() == "0") {
        notes.Note("no background is found, and none is subtracted");
        return;
    }
    notes.Note("background " + background.Text() + (estimated ? ", estimated," : "") + " is subtracted");
}

}  // namespace rydecon
