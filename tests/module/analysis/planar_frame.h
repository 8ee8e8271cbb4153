#pragma once

#include "module/frame/planar_image.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tintwell {

/// A frame of planes for the tests: pixels are {red, green, blue}, alpha is 0.
template <class Sample>
struct PlanarFrame {
    using Color = std::array<Sample, 3>;

    PlanarFrame(std::int32_t width, std::int32_t height, const std::vector<Color>& pixels)
        : samples(pixels.size() * 4) {
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                samples[(c + 1) * pixels.size() + i] = pixels[i][c];
            }
        }
        image.height = height;
        image.width = width;
        image.channelCount = 3;
        image.rowBytes = width * static_cast<std::int32_t>(sizeof(Sample));
        image.bitDepth = sizeof(Sample) * 8;
        image.data = samples.data();
        image.blackClip = 10;
        image.whiteClip = 10;
    }

    PlanarFrame(const PlanarFrame&) = delete;
    PlanarFrame& operator=(const PlanarFrame&) = delete;

    std::vector<Sample> samples;
    PlanarImage image;
};

} // namespace tintwell
