#pragma once

#include "effect/interleaved_frame.h"
#include "effect/planar_image.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tintwell {

/// The colour samples of a frame, whether its pixels are planes or interleaved; owns nothing.
/// Channel c of the pixel in column x of row y starts at
/// `first[c] + y * rowStep + x * pixelStep` bytes.
struct PixelView {
    std::array<const std::byte*, 3> first; ///< red, green, blue of the first pixel
    std::ptrdiff_t pixelStep;
    std::ptrdiff_t rowStep;
    std::int32_t rows;     ///< 0 for an empty frame
    std::size_t rowPixels; ///< 0 for an empty frame
    int bitDepth;

    const std::byte* row(std::size_t channel, std::int32_t y) const {
        return first[channel] + y * rowStep;
    }
};

inline PixelView viewOfPlanes(const PlanarImage& image) {
    const auto* data = static_cast<const std::byte*>(image.data);
    const std::ptrdiff_t plane = isEmpty(image) ? 0 : std::ptrdiff_t{image.height} * image.rowBytes;
    return {{data + plane, data + 2 * plane, data + 3 * plane},
            image.bitDepth / 8,
            image.rowBytes,
            rowCount(image),
            rowSamples(image),
            image.bitDepth};
}

/// `channelOrder` is 0 for A,R,G,B and 1 for B,G,R,A pixels.
inline PixelView viewOfPixels(const InterleavedFrame& frame, std::int32_t channelOrder) {
    const std::ptrdiff_t sample = frame.bitDepth / 8;
    const auto at = [&](std::ptrdiff_t position) {
        return frame.isEmpty() ? frame.data : frame.data + position * sample;
    };
    const bool alphaFirst = channelOrder == 0;
    return {{at(alphaFirst ? 1 : 2), at(alphaFirst ? 2 : 1), at(alphaFirst ? 3 : 0)},
            4 * sample,
            frame.rowBytes,
            frame.rows(),
            frame.rowPixels(),
            frame.bitDepth};
}

} // namespace tintwell
