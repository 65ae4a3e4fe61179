// SPDX-License-Identifier: MIT
#include "restoration/truth.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "io/file_error.h"
#include "restoration/stack_volume.h"

namespace rydecon {

Truth::Truth(const std::filesystem::path& path, const Extent& shape, const Extent& frame,
             const Messages& messages)
    : truth_(frame), shape_(shape) {
    StackReader reader(path, messages);
    const Extent own = ShapeOf(reader.header());
    if (own != shape) {
        throw ReadError(path, "the truth has " + ToString(own) + " samples, the image " + ToString(shape) +
                                  "; they must be of one shape");
    }
    LoadStack(reader, path, truth_);
}

void Truth::OnIterate(float scale, const float* iterate) {
    double sum = 0.0;
    for (int k = 0; k < shape_.z; ++k) {
        for (int j = 0; j < shape_.y; ++j) {
            const float* const truth = truth_.Row(j, k);
            const float* const row = iterate + (truth - truth_.data());
            for (int i = 0; i < shape_.x; ++i) {
                const double difference = static_cast<double>(scale) * row[i] - pedestal_ - truth[i];
                sum += difference * difference;
            }
        }
    }
    const double samples = static_cast<double>(shape_.x) * shape_.y * shape_.z;
    std::printf("iteration %u rmse %.6g\n", ++iterates_, std::sqrt(sum / samples));
}

float PedestalOfRange(float least, float greatest) {
    const float t = std::min((greatest - least) / 40.0f, 20.0f);
    return least < t ? t - least : 0.0f;
}

double PedestalOfAccelerated(const PaddedVolume& image) {
    const auto [least, greatest] = std::minmax_element(image.data(), image.data() + image.sizes().total);
    return PedestalOfRange(*least, *greatest);
}

}  // namespace rydecon
