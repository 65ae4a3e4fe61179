// SPDX-License-Identifier: MIT
#pragma once

// Stacks as files for tests of the program, written and read by its own reader and writer, which have tests
// against other programs.

#include <filesystem>
#include <vector>

#include "io/stack_header.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "report/messages.h"

namespace rydecon::test {

/// Samples in order x, y, z.
struct Stack {
    StackHeader header;
    std::vector<float> samples;

    float At(int i, int j, int k) const {
        return samples[(static_cast<std::size_t>(k) * static_cast<std::size_t>(header.height) +
                        static_cast<std::size_t>(j)) *
                           static_cast<std::size_t>(header.width) +
                       static_cast<std::size_t>(i)];
    }
    double Sum() const {
        double sum = 0.0;
        for (const float sample : samples) sum += sample;
        return sum;
    }
};

/// f(i, j, k) in every sample.
template <class F>
Stack MakeStack(int width, int height, int planes, F f, const VoxelSize& voxel = {}) {
    Stack stack;
    stack.header.width = width;
    stack.header.height = height;
    stack.header.slices = planes;
    stack.header.voxel = voxel;
    for (int k = 0; k < planes; ++k) {
        for (int j = 0; j < height; ++j) {
            for (int i = 0; i < width; ++i) stack.samples.push_back(static_cast<float>(f(i, j, k)));
        }
    }
    return stack;
}

inline void WriteStack(const std::filesystem::path& path, const Stack& stack) {
    StackWriter writer(path, stack.header, true);
    const std::ptrdiff_t plane = std::ptrdiff_t{stack.header.width} * stack.header.height;
    for (int k = 0; k < stack.header.planes(); ++k) {
        writer.WritePlane(stack.samples.data() + k * plane, stack.header.width);
    }
    writer.Commit();
}

inline Stack ReadStack(const std::filesystem::path& path) {
    StackReader reader(path, Messages(true));
    Stack stack = MakeStack(reader.header().width, reader.header().height, reader.header().planes(),
                            [](int, int, int) { return 0.0f; });
    stack.header = reader.header();
    const std::ptrdiff_t plane = std::ptrdiff_t{stack.header.width} * stack.header.height;
    for (int k = 0; k < stack.header.planes(); ++k) {
        reader.ReadPlane(k, stack.samples.data() + k * plane, stack.header.width);
    }
    return stack;
}

}  // namespace rydecon::test
