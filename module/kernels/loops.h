#pragma once

// The kernels as plain loops. Every variant's file compiles a copy of its own, so that the compiler
// writes it for that processor; the variant replaces the loops that compilers do not do justice to.
// Everything here and in what it includes has internal linkage: a copy compiled for a newer
// processor must never replace the one that older processors run.

#include "module/kernels/kernels.h"
#include "module/numeric/level_scale.h"

#include <bit>
#include <cstring>

namespace tintwell::kernels {
namespace {

template <class Sample>
struct Pixel {
    Sample samples[4];
};

template <class Sample>
Pixel<Sample> loadPixel(const std::byte* pixels, std::size_t index) {
    Pixel<Sample> pixel;
    std::memcpy(&pixel, pixels + index * sizeof(pixel), sizeof(pixel));
    return pixel;
}

template <class Sample>
void storePixel(std::byte* pixels, std::size_t index, const Pixel<Sample>& pixel) {
    std::memcpy(pixels + index * sizeof(pixel), &pixel, sizeof(pixel));
}

template <class Sample>
void split(const std::byte* pixels, std::size_t count, Sample* const planes[4]) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto pixel = loadPixel<Sample>(pixels, i);
        for (std::size_t channel = 0; channel < 4; ++channel) {
            planes[channel][i] = pixel.samples[channel];
        }
    }
}

template <class Sample>
void merge(const Sample* const planes[4], std::size_t count, std::byte* pixels) {
    for (std::size_t i = 0; i < count; ++i) {
        storePixel<Sample>(pixels, i, {{planes[0][i], planes[1][i], planes[2][i], planes[3][i]}});
    }
}

template <class Sample>
void toLevels(const std::byte* samples, std::size_t count, std::uint8_t* levels) {
    for (std::size_t i = 0; i < count; ++i) {
        Sample sample = 0;
        std::memcpy(&sample, samples + i * sizeof(sample), sizeof(sample));
        levels[i] = levelOf(sample);
    }
}

inline std::size_t tableIndex(std::uint8_t sample) {
    return sample;
}

inline std::size_t tableIndex(std::uint16_t sample) {
    return sample >= 32768 ? 4096 : sample >> 3U;
}

template <class Sample>
void lookUp(const Sample* samples, std::size_t count, const Sample* table, Sample* results) {
    for (std::size_t i = 0; i < count; ++i) {
        results[i] = table[tableIndex(samples[i])];
    }
}

/// What the products and their sum fit in: at 8 bits 255 * 255 * 65536 and the rounding term stay
/// below 2^32.
template <class Sample>
struct BlendSum {
    using Type = std::uint64_t;
};

template <>
struct BlendSum<std::uint8_t> {
    using Type = std::uint32_t;
};

template <class Sample>
Pixel<Sample> blendPixel(const Pixel<Sample>& corrected, const Pixel<Sample>& original,
                         BlendWeights weights) {
    using Sum = typename BlendSum<Sample>::Type;
    const std::size_t alpha = weights.alphaIndex;
    const Sum fromCorrected = Sum{corrected.samples[alpha]} * weights.corrected;
    const Sum fromOriginal = Sum{original.samples[alpha]} * weights.original;
    const Sum sum = fromCorrected + fromOriginal;

    Pixel<Sample> mixed = fromCorrected == 0 ? original : corrected;
    if (fromCorrected != 0 && fromOriginal != 0) {
        for (std::size_t i = 0; i < 4; ++i) {
            mixed.samples[i] =
                static_cast<Sample>((corrected.samples[i] * fromCorrected +
                                     original.samples[i] * fromOriginal + (sum >> 1U)) /
                                    sum);
        }
    }
    mixed.samples[alpha] = static_cast<Sample>((sum + 32768) >> 16U);
    return mixed;
}

/// Where both alphas are the same and not 0 they cancel out, and no division is left. The sum fits:
/// 65535 * 65536 + 32768 is below 2^32.
template <class Sample>
Pixel<Sample> blendOfSameAlpha(const Pixel<Sample>& corrected, const Pixel<Sample>& original,
                               BlendWeights weights) {
    Pixel<Sample> mixed;
    for (std::size_t i = 0; i < 4; ++i) {
        mixed.samples[i] = static_cast<Sample>((corrected.samples[i] * weights.corrected +
                                                original.samples[i] * weights.original + 32768U) >>
                                               16U);
    }
    return mixed;
}

template <class Sample>
void blend(const std::byte* corrected, const std::byte* original, std::byte* destination,
           std::size_t count, BlendWeights weights) {
    const std::size_t alpha = weights.alphaIndex;
    for (std::size_t i = 0; i < count; ++i) {
        const auto from = loadPixel<Sample>(corrected, i);
        const auto with = loadPixel<Sample>(original, i);
        const bool sameAlpha =
            from.samples[alpha] == with.samples[alpha] && from.samples[alpha] != 0;
        storePixel(destination, i,
                   sameAlpha ? blendOfSameAlpha(from, with, weights)
                             : blendPixel(from, with, weights));
    }
}

template <class Value>
Value largestOf(Value a, Value b) {
    return a > b ? a : b;
}

template <class Value>
Value smallestOf(Value a, Value b) {
    return a < b ? a : b;
}

inline void tones(const ColorRow& row, std::size_t count, std::uint8_t* darkness,
                  std::uint8_t* lightness) {
    const auto [reds, greens, blues] = row;
    for (std::size_t i = 0; i < count; ++i) {
        const int red = reds[i];
        const int green = greens[i];
        const int blue = blues[i];
        darkness[i] = static_cast<std::uint8_t>(255 - largestOf(largestOf(red, green), blue));
        lightness[i] = static_cast<std::uint8_t>(smallestOf(smallestOf(red, green), blue));
    }
}

/// Rounded saturation, 0..255 or more. Divides in single precision, which vectors can: a quotient
/// of numbers this small is at least 1/255 below the next whole number, far more than its rounding.
inline int saturationOf(int chroma, int sum) {
    const auto divisor = static_cast<float>(largestOf(sum, 1));
    return static_cast<int>(static_cast<float>(chroma * 255 + (sum >> 1)) / divisor);
}

inline void neutralities(const ColorRow& row, std::size_t count, std::uint8_t* results) {
    const auto [reds, greens, blues] = row;
    for (std::size_t i = 0; i < count; ++i) {
        const int red = reds[i];
        const int green = greens[i];
        const int blue = blues[i];
        const int largest = largestOf(largestOf(red, green), blue);
        const int smallest = smallestOf(smallestOf(red, green), blue);
        const int sum = smallestOf(largest + smallest, 510 - largest - smallest);
        const int saturation = saturationOf(largest - smallest, sum);
        results[i] = static_cast<std::uint8_t>(largestOf(sum - 2 * saturation, 0));
    }
}

inline void leastOfSquares(const std::uint8_t* above, const std::uint8_t* own, std::size_t count,
                           std::uint8_t* least) {
    for (std::size_t i = 0; i < count; ++i) {
        // Compilers only see that bytes suffice if no step is wider.
        const std::uint8_t upper = smallestOf(above[i], above[i + 1]);
        const std::uint8_t lower = smallestOf(own[i], own[i + 1]);
        least[i] = smallestOf(upper, lower);
    }
}

inline void countLowest(const std::uint8_t* indices, std::uint8_t highest, std::size_t count,
                        std::uint32_t* counts) {
    for (std::size_t i = 0; i < count; ++i) {
        if (indices[i] <= highest) {
            ++counts[indices[i]];
        }
    }
}

inline void addTones(const std::uint8_t* indices, std::uint8_t lowest,
                     const std::uint8_t* countedPixels, std::size_t count, ToneSums* sums) {
    for (std::size_t i = 0; i < count; ++i) {
        if (indices[i] >= lowest) {
            for (std::size_t k = 0; k < 4; ++k) {
                sums[indices[i]].samples[k] += countedPixels[4 * i + k];
            }
        }
    }
}

/// In whole words, which compilers make vectors of.
inline void makeCounted(const std::uint8_t* pixels, std::size_t alphaIndex, std::size_t count,
                        std::uint8_t* countedPixels) {
    using Bytes = Pixel<std::uint8_t>;
    const bool isFirst = alphaIndex == 0;
    const auto color = std::bit_cast<std::uint32_t>(isFirst ? Bytes{{0, 255, 255, 255}}
                                                            : Bytes{{255, 255, 255, 0}});
    const auto one =
        std::bit_cast<std::uint32_t>(isFirst ? Bytes{{1, 0, 0, 0}} : Bytes{{0, 0, 0, 1}});
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, pixels + i * sizeof(pixel), sizeof(pixel));
        pixel = (pixel & color) | one;
        std::memcpy(countedPixels + i * sizeof(pixel), &pixel, sizeof(pixel));
    }
}

} // namespace
} // namespace tintwell::kernels
