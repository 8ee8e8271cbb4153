#pragma once

#include "module/frame/sample_size.h"

#include <cstddef>
#include <cstdint>

namespace tintwell {

/// A view of a frame whose pixels are four interleaved samples; owns nothing. Row y starts at
/// `data + y * rowBytes`; rows may be padded, rowBytes may be negative. A width or height at or
/// below 0 is an empty frame.
struct InterleavedFrame {
    std::byte* data = nullptr;
    std::ptrdiff_t rowBytes = 0;
    std::int32_t width = 0;  ///< pixels
    std::int32_t height = 0; ///< rows
    int bitDepth = 8;        ///< 8 or 16

    std::byte* row(std::int32_t y) const { return data + y * rowBytes; }

    bool isEmpty() const { return width <= 0 || height <= 0; }

    std::int32_t rows() const { return isEmpty() ? 0 : height; }

    /// Pixels per row as a size; 0 for an empty frame.
    std::size_t rowPixels() const { return isEmpty() ? 0 : static_cast<std::size_t>(width); }

    /// Bytes of a row's pixels, without padding.
    std::size_t pixelBytes() const {
        return rowPixels() * static_cast<std::size_t>(4 * sampleBytes(bitDepth));
    }
};

} // namespace tintwell
