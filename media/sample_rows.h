#pragma once

// The inner loops of the colour conversion: rows of samples between planes and pixels, between
// chroma as stored and chroma for every pixel.

#include "media/zimg_graph.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace tintwell::media {

inline constexpr int kAlphaPlane = 3; ///< as zimg numbers them, after R,G,B or Y,U,V
inline constexpr std::uint32_t kWorldWhite16 = 32768;

/// Calls function(std::uint8_t{}) or function(std::uint16_t{}): the type of sample to work with.
template <class Function>
void withSampleType(bool byte, Function function) {
    if (byte) {
        function(std::uint8_t{});
    } else {
        function(std::uint16_t{});
    }
}

inline std::uint8_t toWorldScale(std::uint8_t value) {
    return value;
}

inline std::uint16_t toWorldScale(std::uint16_t value) {
    return static_cast<std::uint16_t>((std::uint32_t{value} * kWorldWhite16 + 32767U) / 65535U);
}

inline std::uint8_t fromWorldScale(std::uint8_t value) {
    return value;
}

inline std::uint16_t fromWorldScale(std::uint16_t value) {
    const std::uint32_t clamped = std::min<std::uint32_t>(value, kWorldWhite16);
    return static_cast<std::uint16_t>((clamped * 65535U + 16384U) >> 15U);
}

/// Columns left..right-1 of four planes, side by side in the order A,R,G,B.
template <class Sample>
void interleave(RowRing& planes, bool alpha, unsigned row, std::size_t left, std::size_t right,
                std::byte* worldRow) {
    constexpr auto kOpaque = static_cast<Sample>(sizeof(Sample) == 1 ? 255U : kWorldWhite16);
    const Sample* red = planes.row<Sample>(0, row);
    const Sample* green = planes.row<Sample>(1, row);
    const Sample* blue = planes.row<Sample>(2, row);
    const Sample* alphas = planes.row<Sample>(kAlphaPlane, row);
    auto* pixels = reinterpret_cast<Sample*>(worldRow);
    for (std::size_t x = left; x < right; ++x) {
        pixels[4 * x] = alpha ? toWorldScale(alphas[x]) : kOpaque;
        pixels[4 * x + 1] = toWorldScale(red[x]);
        pixels[4 * x + 2] = toWorldScale(green[x]);
        pixels[4 * x + 3] = toWorldScale(blue[x]);
    }
}

template <class Sample>
void deinterleave(const std::byte* worldRow, std::size_t left, std::size_t right, RowRing& planes,
                  unsigned row) {
    Sample* red = planes.row<Sample>(0, row);
    Sample* green = planes.row<Sample>(1, row);
    Sample* blue = planes.row<Sample>(2, row);
    Sample* alphas = planes.row<Sample>(kAlphaPlane, row);
    const auto* pixels = reinterpret_cast<const Sample*>(worldRow);
    for (std::size_t x = left; x < right; ++x) {
        alphas[x] = fromWorldScale(pixels[4 * x]);
        red[x] = fromWorldScale(pixels[4 * x + 1]);
        green[x] = fromWorldScale(pixels[4 * x + 2]);
        blue[x] = fromWorldScale(pixels[4 * x + 3]);
    }
}

/// Gives each chroma sample to the columns left..right-1 that share it; samples[0] is the one of
/// column left.
template <class Sample>
void replicate(const Sample* samples, int shift, int left, int right, Sample* row) {
    const int whole = shift == 1 ? (right - left) / 2 : 0;
    for (int i = 0; i < whole; ++i) {
        row[left + 2 * i] = samples[i];
        row[left + 2 * i + 1] = samples[i];
    }
    for (int x = left + 2 * whole; x < right; ++x) {
        row[x] = samples[(x >> shift) - (left >> shift)];
    }
}

/// Adds up, for each chroma sample, the columns left..right-1 that share it.
template <class Sample>
void addShared(const Sample* row, int shift, int left, int right, std::uint32_t* sums) {
    const int whole = shift == 1 ? (right - left) / 2 : 0;
    for (int i = 0; i < whole; ++i) {
        sums[i] += std::uint32_t{row[left + 2 * i]} + row[left + 2 * i + 1];
    }
    for (int x = left + 2 * whole; x < right; ++x) {
        sums[(x >> shift) - (left >> shift)] += row[x];
    }
}

/// Sets same[x] to 1 where the four samples of a pixel are equal in both rows, else to 0.
template <class Sample>
void comparePixels(const std::byte* row, const std::byte* other, std::size_t left,
                   std::size_t right, std::uint8_t* same) {
    using Pixel = std::conditional_t<sizeof(Sample) == 1, std::uint32_t, std::uint64_t>;
    for (std::size_t x = left; x < right; ++x) {
        Pixel pixel{};
        Pixel otherPixel{};
        std::memcpy(&pixel, row + x * sizeof(Pixel), sizeof(Pixel));
        std::memcpy(&otherPixel, other + x * sizeof(Pixel), sizeof(Pixel));
        same[x] = pixel == otherPixel ? 1 : 0;
    }
}

/// Puts the original samples where all the pixels they belong to are as they were: where the count
/// of such pixels is `all`.
template <class Sample, class Count>
void restore(std::span<const Sample> originals, const Count* unchanged, std::uint32_t all,
             Sample* samples) {
    for (std::size_t i = 0; i < originals.size(); ++i) {
        samples[i] = unchanged[i] == all ? originals[i] : samples[i];
    }
}

/// Turns such sums over `rows` rows into rounded averages. `lastColumns` is how many columns the
/// last sum is made of: fewer than the others where the picture ends. Both are at least 1.
template <class Sample>
void averageShared(std::span<const std::uint32_t> sums, int shift, int rows, int lastColumns,
                   Sample* averages) {
    const auto divide = [&](auto count) {
        std::ranges::transform(sums, averages, [count](std::uint32_t sum) {
            return static_cast<Sample>((sum + count / 2) / count);
        });
    };
    // The usual counts as constants, so that the compiler divides by shifting.
    switch (rows << shift) {
    case 2:
        divide(std::integral_constant<std::uint32_t, 2>{});
        break;
    case 4:
        divide(std::integral_constant<std::uint32_t, 4>{});
        break;
    default:
        divide(static_cast<std::uint32_t>(rows << shift));
    }
    const auto lastCount = std::max(1U, static_cast<std::uint32_t>(rows * lastColumns));
    averages[sums.size() - 1] = static_cast<Sample>((sums.back() + lastCount / 2) / lastCount);
}

} // namespace tintwell::media
