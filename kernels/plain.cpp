#include "kernels/kernels.h"
#include "numeric/level_scale.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

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
void countLevels(const std::byte* first, std::ptrdiff_t step, std::size_t count,
                 std::uint32_t* bins) {
    for (std::size_t i = 0; i < count; ++i) {
        Sample sample;
        std::memcpy(&sample, first + static_cast<std::ptrdiff_t>(i) * step, sizeof(sample));
        ++bins[levelOf(sample)];
    }
}

template <class Sample>
void addTones(const Sample* red, const Sample* green, const Sample* blue, std::size_t count,
              ToneSums* maxTable, ToneSums* minTable) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t r = levelOf(red[i]);
        const std::uint8_t g = levelOf(green[i]);
        const std::uint8_t b = levelOf(blue[i]);
        for (ToneSums* sums :
             {maxTable + (255 - std::max({r, g, b})), minTable + std::min({r, g, b})}) {
            sums->red += r;
            sums->green += g;
            sums->blue += b;
            sums->count += 1;
        }
    }
}

std::size_t tableIndex(std::uint8_t sample) {
    return sample;
}

std::size_t tableIndex(std::uint16_t sample) {
    return std::min<std::size_t>(sample >> 3U, 4096);
}

template <class Sample>
void lookUp(Sample* samples, std::size_t count, const Sample* table) {
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = table[tableIndex(samples[i])];
    }
}

template <class Sample>
Pixel<Sample> blendPixel(const Pixel<Sample>& corrected, const Pixel<Sample>& original,
                         BlendWeights weights) {
    // At 8 bits 255 * 255 * 65536 and the rounding term fit in 32 unsigned bits.
    using Wide = std::conditional_t<sizeof(Sample) == 1, std::uint32_t, std::uint64_t>;
    const std::size_t alpha = weights.alphaIndex;
    const Wide fromCorrected = Wide{corrected.samples[alpha]} * weights.corrected;
    const Wide fromOriginal = Wide{original.samples[alpha]} * weights.original;
    const Wide sum = fromCorrected + fromOriginal;

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

template <class Sample>
void blend(const std::byte* corrected, const std::byte* original, std::byte* destination,
           std::size_t count, BlendWeights weights) {
    for (std::size_t i = 0; i < count; ++i) {
        storePixel(
            destination, i,
            blendPixel(loadPixel<Sample>(corrected, i), loadPixel<Sample>(original, i), weights));
    }
}

template <class Sample>
constexpr Table<Sample> kPlain = {split<Sample>,    merge<Sample>,  countLevels<Sample>,
                                  addTones<Sample>, lookUp<Sample>, blend<Sample>};

} // namespace

template <>
const Table<std::uint8_t>& kernelsFor<std::uint8_t>() {
    return kPlain<std::uint8_t>;
}

template <>
const Table<std::uint16_t>& kernelsFor<std::uint16_t>() {
    return kPlain<std::uint16_t>;
}

} // namespace tintwell::kernels
