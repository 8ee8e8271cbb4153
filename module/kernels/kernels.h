#pragma once

// The inner loops that touch every pixel, behind tables of functions. Each function works on one
// run of samples: it reads and writes exactly the samples it is told of, at any alignment. Callers
// ask kernelsFor<Sample>() and levelKernels() and do not know which variant they get; every variant
// gives the same bytes.

#include <cstddef>
#include <cstdint>

namespace tintwell::kernels {

/// The weights of a blend as 16.16 fractions that add up to 65536, neither of them 0, and where
/// alpha stands in a pixel (0 or 3).
struct BlendWeights {
    std::uint32_t corrected;
    std::uint32_t original;
    std::uint32_t alphaIndex;
};

/// Sample is std::uint8_t (0..255) or std::uint16_t (0..32768).
template <class Sample>
struct SampleKernels {
    /// Sample i of each interleaved pixel goes to planes[i].
    void (*split)(const std::byte* pixels, std::size_t count, Sample* const planes[4]);
    /// The inverse of split.
    void (*merge)(const Sample* const planes[4], std::size_t count, std::byte* pixels);
    /// The samples of a row, interleaved or not.
    void (*levels)(const std::byte* samples, std::size_t count, std::uint8_t* levels);
    /// The table entry of each sample: table[s] of 256 entries at 8 bits, table[min(s >> 3, 4096)]
    /// of 4097 entries at 16 bits. `results` may be `samples`.
    void (*lookUp)(const Sample* samples, std::size_t count, const Sample* table, Sample* results);
    /// Mixes interleaved pixels, colour weighted by alpha. `destination` may be `corrected`.
    void (*blend)(const std::byte* corrected, const std::byte* original, std::byte* destination,
                  std::size_t count, BlendWeights weights);
};

/// The levels of a row of pixels, or of a few rows one after the other, channel by channel.
struct ColorRow {
    const std::uint8_t* red;
    const std::uint8_t* green;
    const std::uint8_t* blue;
};

/// What is summed up of the pixels that share an index: their levels, in the order in which a pixel
/// holds them, and in the place of alpha their number.
struct ToneSums {
    std::uint32_t samples[4];
};

static_assert(sizeof(ToneSums) == 16); // one vector

/// Entries of a table of ToneSums.
inline constexpr std::size_t kToneIndices = 256;

/// Pixels whose levels surely fit in ToneSums.
inline constexpr std::size_t kMostToneSums = std::size_t{1} << 24U;

/// Works on levels, whatever the depth of the samples they come from.
struct LevelKernels {
    /// 255 less the largest level of each pixel, and the smallest.
    void (*tones)(const ColorRow& row, std::size_t count, std::uint8_t* darkness,
                  std::uint8_t* lightness);
    /// 255 for a grey of middle lightness, less the more coloured, darker or lighter a pixel is.
    void (*neutralities)(const ColorRow& row, std::size_t count, std::uint8_t* neutralities);
    /// The least of each two by two neighbours of two rows of count + 1 values.
    void (*leastOfSquares)(const std::uint8_t* above, const std::uint8_t* own, std::size_t count,
                           std::uint8_t* least);
    /// Adds 1 to the count (of 256) of each index that is at most `highest`.
    void (*countLowest)(const std::uint8_t* indices, std::uint8_t highest, std::size_t count,
                        std::uint32_t* counts);
    /// Adds each pixel whose index is at or above `lowest` to the entry of its index in one of two
    /// tables of 256, which follow each other and are to be added up: neighbours of one index need
    /// not wait for each other. An entry holds kMostToneSums pixels at most.
    void (*addTones)(const std::uint8_t* indices, std::uint8_t lowest,
                     const std::uint8_t* countedPixels, std::size_t count, ToneSums* sums);
    /// Pixels of four levels each with a 1 at `alphaIndex` (0 or 3), for addTones.
    void (*makeCounted)(const std::uint8_t* pixels, std::size_t alphaIndex, std::size_t count,
                        std::uint8_t* countedPixels);
};

template <class Sample>
const SampleKernels<Sample>& kernelsFor();
template <>
const SampleKernels<std::uint8_t>& kernelsFor<std::uint8_t>();
template <>
const SampleKernels<std::uint16_t>& kernelsFor<std::uint16_t>();

const LevelKernels& levelKernels();

} // namespace tintwell::kernels
