#pragma once

// The inner loops that touch every pixel, behind one table of functions. Each function works on
// one run of samples: it reads and writes exactly the samples it is told of, and any alignment of
// interleaved pixels will do. Callers ask kernelsFor<Sample>() and do not know which variant they
// get; every variant gives the same bytes.

#include <cstddef>
#include <cstdint>

namespace tintwell::kernels {

/// What is summed up of the pixels that share an index of a tone table: their levels per channel
/// and their number.
struct ToneSums {
    std::uint64_t red;
    std::uint64_t green;
    std::uint64_t blue;
    std::uint64_t count;
};

/// The weights of a blend as 16.16 fractions that add up to 65536, and where alpha stands in a
/// pixel (0 or 3).
struct BlendWeights {
    std::uint32_t corrected;
    std::uint32_t original;
    std::uint32_t alphaIndex;
};

/// Sample is std::uint8_t (0..255) or std::uint16_t (0..32768).
template <class Sample>
struct Table {
    /// Sample i of each interleaved pixel goes to planes[i].
    void (*split)(const std::byte* pixels, std::size_t count, Sample* const planes[4]);
    /// The inverse of split.
    void (*merge)(const Sample* const planes[4], std::size_t count, std::byte* pixels);
    /// Adds 1 to the bin (of 256) of each sample's level. The samples begin `step` bytes apart, so
    /// that planes and interleaved pixels are counted alike.
    void (*countLevels)(const std::byte* first, std::ptrdiff_t step, std::size_t count,
                        std::uint32_t* bins);
    /// Adds each pixel to maxTable at 255 less the largest of its three levels, and to minTable at
    /// the smallest; both tables have 256 entries.
    void (*addTones)(const Sample* red, const Sample* green, const Sample* blue, std::size_t count,
                     ToneSums* maxTable, ToneSums* minTable);
    /// Replaces each sample by its table entry: table[s] of 256 entries at 8 bits,
    /// table[min(s >> 3, 4096)] of 4097 entries at 16 bits.
    void (*lookUp)(Sample* samples, std::size_t count, const Sample* table);
    /// Mixes interleaved pixels, colour weighted by alpha. `destination` may be `corrected`.
    void (*blend)(const std::byte* corrected, const std::byte* original, std::byte* destination,
                  std::size_t count, BlendWeights weights);
};

template <class Sample>
const Table<Sample>& kernelsFor();
template <>
const Table<std::uint8_t>& kernelsFor<std::uint8_t>();
template <>
const Table<std::uint16_t>& kernelsFor<std::uint16_t>();

} // namespace tintwell::kernels
