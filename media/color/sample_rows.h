#pragma once

// The inner loops of the colour conversion: rows of samples between planes and pixels, between
// chroma as stored and chroma for every pixel. The rows of one call do not overlap. Where a chroma
// sample is shared by 1 << shift columns, rows begin with the first of them; the last sample may
// have fewer.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace tintwell::media {

inline constexpr std::uint16_t kWorldWhite16 = 32768;

/// Calls function(std::uint8_t{}) or function(std::uint16_t{}): the type of sample to work with.
template <class Function>
void withSampleType(bool byte, Function function) {
    if (byte) {
        function(std::uint8_t{});
    } else {
        function(std::uint16_t{});
    }
}

/// Holds the sum of all samples that share chroma.
template <class Sample>
using SampleSum = std::conditional_t<sizeof(Sample) == 1, std::uint16_t, std::uint32_t>;

inline std::uint8_t toWorldScale(std::uint8_t value) {
    return value;
}

/// value * 32768 / 65535, rounded, without leaving 16 bits.
inline std::uint16_t toWorldScale(std::uint16_t value) {
    return static_cast<std::uint16_t>((value >> 1) + (value & 1));
}

inline std::uint8_t fromWorldScale(std::uint8_t value) {
    return value;
}

/// value * 65535 / 32768, rounded, halves up; modulo 2^16, which white makes use of.
inline std::uint16_t fromWorldScale(std::uint16_t value) {
    const std::uint16_t clamped = std::min(value, kWorldWhite16);
    return static_cast<std::uint16_t>(2 * clamped - (clamped > kWorldWhite16 / 2 ? 1 : 0));
}

/// Puts samples side by side in the order A,R,G,B; opaque ones where no alpha is asked for.
template <class Sample, bool kAlpha>
void interleave(const Sample* alpha, const Sample* red, const Sample* green, const Sample* blue,
                Sample* __restrict pixels, std::size_t count) {
    constexpr auto kOpaque = static_cast<Sample>(sizeof(Sample) == 1 ? 255U : kWorldWhite16);
    for (std::size_t x = 0; x < count; ++x) {
        pixels[4 * x] = kAlpha ? toWorldScale(alpha[x]) : kOpaque;
        pixels[4 * x + 1] = toWorldScale(red[x]);
        pixels[4 * x + 2] = toWorldScale(green[x]);
        pixels[4 * x + 3] = toWorldScale(blue[x]);
    }
}

template <class Sample, bool kAlpha>
void deinterleave(const Sample* pixels, Sample* __restrict alpha, Sample* __restrict red,
                  Sample* __restrict green, Sample* __restrict blue, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        if constexpr (kAlpha) {
            alpha[x] = fromWorldScale(pixels[4 * x]);
        }
        red[x] = fromWorldScale(pixels[4 * x + 1]);
        green[x] = fromWorldScale(pixels[4 * x + 2]);
        blue[x] = fromWorldScale(pixels[4 * x + 3]);
    }
}

/// Gives each chroma sample to the `count` columns that share it.
template <class Sample>
void replicate(const Sample* samples, int shift, std::size_t count, Sample* __restrict row) {
    const std::size_t pairs = shift == 1 ? count / 2 : 0;
    for (std::size_t i = 0; i < pairs; ++i) {
        row[2 * i] = samples[i];
        row[2 * i + 1] = samples[i];
    }
    for (std::size_t x = 2 * pairs; x < count; ++x) {
        row[x] = samples[x >> shift];
    }
}

/// Adds up, for each chroma sample, those of the `count` columns that share it.
template <class Sample>
void addShared(const Sample* row, int shift, std::size_t count,
               SampleSum<Sample>* __restrict sums) {
    using Sum = SampleSum<Sample>;
    const std::size_t pairs = shift == 1 ? count / 2 : 0;
    for (std::size_t i = 0; i < pairs; ++i) {
        sums[i] = static_cast<Sum>(sums[i] + row[2 * i] + row[2 * i + 1]);
    }
    for (std::size_t x = 2 * pairs; x < count; ++x) {
        sums[x >> shift] = static_cast<Sum>(sums[x >> shift] + row[x]);
    }
}

/// Turns sums of `number` samples into rounded averages. A number that is part of the type
/// (std::integral_constant) spares the division.
template <class Sample, class Number>
void average(const SampleSum<Sample>* sums, std::size_t count, Number number,
             Sample* __restrict averages) {
    for (std::size_t i = 0; i < count; ++i) {
        averages[i] = static_cast<Sample>((sums[i] + number / 2U) / number);
    }
}

/// Sets changed[x] to 1 where the pixels of two rows differ, else to 0.
template <class Sample>
void comparePixels(const std::byte* row, const std::byte* other, std::uint8_t* __restrict changed,
                   std::size_t count) {
    using Pixel = std::conditional_t<sizeof(Sample) == 1, std::uint32_t, std::uint64_t>;
    for (std::size_t x = 0; x < count; ++x) {
        Pixel pixel{};
        Pixel otherPixel{};
        std::memcpy(&pixel, row + x * sizeof(Pixel), sizeof(Pixel));
        std::memcpy(&otherPixel, other + x * sizeof(Pixel), sizeof(Pixel));
        changed[x] = pixel != otherPixel ? 1 : 0;
    }
}

/// Sets, for each chroma sample, the mark that one of the `count` columns that share it has.
inline void markShared(const std::uint8_t* row, int shift, std::size_t count,
                       std::uint8_t* __restrict marks) {
    const std::size_t pairs = shift == 1 ? count / 2 : 0;
    for (std::size_t i = 0; i < pairs; ++i) {
        marks[i] = static_cast<std::uint8_t>(marks[i] | row[2 * i] | row[2 * i + 1]);
    }
    for (std::size_t x = 2 * pairs; x < count; ++x) {
        marks[x >> shift] = static_cast<std::uint8_t>(marks[x >> shift] | row[x]);
    }
}

/// Puts the original samples where changed[i] is 0. By masks, since a choice would be a jump.
template <class Sample>
void restore(const Sample* originals, const std::uint8_t* changed, Sample* __restrict samples,
             std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto mask = static_cast<Sample>(-changed[i]);
        samples[i] = static_cast<Sample>((samples[i] & mask) | (originals[i] & ~mask));
    }
}

} // namespace tintwell::media
