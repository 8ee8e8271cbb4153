#pragma once

#include "module/frame/interleaved_frame.h"
#include "module/frame/planar_image.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tintwell {

/// The samples of a frame, whether its pixels are planes or interleaved; owns nothing. Channel c of
/// the pixel in column x of row y starts at `data + channels[c] + y * rowStep + x * pixelStep`.
struct PixelView {
    const std::byte* data;
    std::array<std::ptrdiff_t, 3> channels; ///< red, green, blue
    std::ptrdiff_t pixelStep;
    std::ptrdiff_t rowStep;
    std::int32_t rows;     ///< 0 for an empty frame
    std::size_t rowPixels; ///< 0 for an empty frame
    int bitDepth;

    const std::byte* row(std::size_t channel, std::int32_t y) const {
        return data + channels[channel] + y * rowStep;
    }

    /// The first sample of a pixel, where they are interleaved.
    const std::byte* pixel(std::int32_t y, std::size_t x) const {
        return data + y * rowStep + static_cast<std::ptrdiff_t>(x) * pixelStep;
    }

    bool isInterleaved() const { return pixelStep == 4 * sampleBytes(bitDepth); }
};

inline bool hasKnownDepth(const PixelView& pixels) {
    return pixels.bitDepth == 8 || pixels.bitDepth == 16;
}

inline PixelView viewOfPlanes(const PlanarImage& image) {
    const std::ptrdiff_t plane = isEmpty(image) ? 0 : std::ptrdiff_t{image.height} * image.rowBytes;
    return {static_cast<const std::byte*>(image.data),
            {plane, 2 * plane, 3 * plane},
            sampleBytes(image.bitDepth),
            image.rowBytes,
            rowCount(image),
            rowSamples(image),
            image.bitDepth};
}

/// `channelOrder` is 0 for A,R,G,B and 1 for B,G,R,A pixels.
inline PixelView viewOfPixels(const InterleavedFrame& frame, std::int32_t channelOrder) {
    const std::ptrdiff_t sample = sampleBytes(frame.bitDepth);
    const bool alphaFirst = channelOrder == 0;
    return {frame.data,
            {(alphaFirst ? 1 : 2) * sample, (alphaFirst ? 2 : 1) * sample,
             (alphaFirst ? 3 : 0) * sample},
            4 * sample,
            frame.rowBytes,
            frame.rows(),
            frame.rowPixels(),
            frame.bitDepth};
}

} // namespace tintwell
