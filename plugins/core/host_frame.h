#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tintwell::plugins {

/// How a host writes down a sample.
enum class SampleType : std::uint8_t {
    Byte,         ///< 8 bits, white at 255
    Short,        ///< 16 bits, white at 65535
    ShortTo32768, ///< 16 bits, white at 32768
    Half,         ///< 16-bit IEEE 754, white at 1; any value is allowed
    Float,        ///< 32-bit IEEE 754, white at 1; any value is allowed
};

constexpr bool isReal(SampleType type) {
    return type == SampleType::Half || type == SampleType::Float;
}

constexpr std::size_t bytesOf(SampleType type) {
    return type == SampleType::Byte ? 1 : type == SampleType::Float ? 4 : 2;
}

enum class Alpha : std::uint8_t {
    None,          ///< there are no alpha samples
    Straight,      ///< colour is not multiplied by alpha, or alpha is to be left alone
    Premultiplied, ///< colour is multiplied by alpha
};

/// A view of a host's frame; owns nothing. Channel c (red, green, blue, alpha) of the pixel in
/// column x of row y is at `data + channels[c] + y * rowStep + x * pixelStep`: interleaved pixels
/// in any order and planes in any place, upright or upside down. Nothing has to be aligned. A width
/// or height at or below 0 is an empty frame.
template <class Byte>
struct HostFrame {
    Byte* data = nullptr;
    std::array<std::ptrdiff_t, 4> channels{}; ///< in bytes; the last is not used without alpha
    std::ptrdiff_t pixelStep = 0;             ///< in bytes; may be negative
    std::ptrdiff_t rowStep = 0;               ///< in bytes; may be negative
    std::int32_t width = 0;                   ///< pixels
    std::int32_t height = 0;                  ///< rows
    SampleType samples = SampleType::Byte;
    Alpha alpha = Alpha::None;

    /// The first of a channel's samples in a row.
    Byte* row(std::size_t channel, std::int32_t y) const {
        return data + channels[channel] + y * rowStep;
    }

    std::int32_t rows() const { return width <= 0 || height <= 0 ? 0 : height; }

    std::size_t rowPixels() const { return rows() == 0 ? 0 : static_cast<std::size_t>(width); }
};

using SourceFrame = HostFrame<const std::byte>;
using TargetFrame = HostFrame<std::byte>;

} // namespace tintwell::plugins
