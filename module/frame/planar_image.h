#pragma once

#include <cstddef>
#include <cstdint>

namespace tintwell {

/// One frame as channel planes, with the control values the analysis needs beside the pixels.
/// Four packed planes follow each other in the order alpha, red, green, blue: plane p begins
/// `p * height * rowBytes` bytes after `data`. Samples are unsigned, 8 bits (0..255) or 16 bits
/// (0..32768). The record does not own the pixels; a width or height at or below 0 is an empty
/// frame.
struct PlanarImage {
    std::int32_t height = 0;       ///< rows per plane
    std::int32_t width = 0;        ///< samples per row
    std::int32_t channelCount = 0; ///< colour planes, always 3: planes 1 to 3
    std::int32_t rowBytes = 0;     ///< bytes per plane row, without padding
    std::int32_t bitDepth = 0;     ///< 8 or 16
    void* data = nullptr;
    std::int32_t blackClip = 0;           ///< hundredths of a percent
    std::int32_t whiteClip = 0;           ///< hundredths of a percent
    std::int32_t snapNeutralMidtones = 0; ///< 0, or not 0 for on
};

/// The colour planes of every image: red, green and blue are planes 1 to 3.
inline constexpr std::int32_t kColorPlanes = 3;

/// First sample of row y of a plane (0 alpha, 1 red, 2 green, 3 blue).
template <class Sample>
Sample* planeRow(const PlanarImage& image, std::int32_t plane, std::int32_t y) {
    const std::ptrdiff_t rowSamples = image.rowBytes / static_cast<std::ptrdiff_t>(sizeof(Sample));
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(plane) * image.height + y;
    return static_cast<Sample*>(image.data) + row * rowSamples;
}

inline bool isEmpty(const PlanarImage& image) {
    return image.width <= 0 || image.height <= 0;
}

inline std::int32_t rowCount(const PlanarImage& image) {
    return isEmpty(image) ? 0 : image.height;
}

/// Samples per row as a size; 0 for an empty frame.
inline std::size_t rowSamples(const PlanarImage& image) {
    return isEmpty(image) ? 0 : static_cast<std::size_t>(image.width);
}

static_assert(offsetof(PlanarImage, data) == 24);
static_assert(offsetof(PlanarImage, snapNeutralMidtones) == 40);
static_assert(sizeof(PlanarImage) == 48);

} // namespace tintwell
