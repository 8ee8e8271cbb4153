#include "module/counting/channel_histogram.h"

#include "module/counting/level_rows.h"
#include "module/kernels/prefetch.h"
#include "module/numeric/level_scale.h"

#include <cstddef>
#include <cstring>

namespace tintwell {
namespace {

// Weights of the luminance in units of 1 / 16384; they sum to 16384.
constexpr std::uint32_t kRedWeight = 4915;
constexpr std::uint32_t kGreenWeight = 9667;
constexpr std::uint32_t kBlueWeight = 1802;

template <class Sample>
Sample luminance(Sample red, Sample green, Sample blue) {
    return static_cast<Sample>(
        (red * kRedWeight + green * kGreenWeight + blue * kBlueWeight + 8192U) >> 14U);
}

template <class Sample>
Sample sampleAt(const std::byte* row, std::ptrdiff_t offset) {
    Sample sample;
    std::memcpy(&sample, row + offset, sizeof(sample));
    return sample;
}

template <class Sample>
void countLuminance(LevelCounts& counts, const PixelView& pixels) {
    for (std::int32_t y = 0; y < pixels.rows; ++y) {
        for (std::size_t x = 0; x < pixels.rowPixels; ++x) {
            const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(x) * pixels.pixelStep;
            ++counts[levelOf(luminance(sampleAt<Sample>(pixels.row(0, y), offset),
                                       sampleAt<Sample>(pixels.row(1, y), offset),
                                       sampleAt<Sample>(pixels.row(2, y), offset)))];
        }
    }
}

void addColorsToCombined(ChannelHistogram& histogram) {
    for (std::size_t c = 1; c < histogram.channels.size(); ++c) {
        for (std::size_t bin = 0; bin < histogram.channels[0].size(); ++bin) {
            histogram.channels[0][bin] += histogram.channels[c][bin];
        }
    }
}

} // namespace

void ColorCounter::add(const kernels::ColorRow& row, std::size_t count, const std::byte* soon,
                       std::size_t pixelBytes) {
    const std::array<const std::uint8_t*, 3> channels = {row.red, row.green, row.blue};
    for (std::size_t c = 0; c < channels.size(); ++c) {
        // Each channel asks for other lines of what the levels of a block come from.
        const bool asks = soon != nullptr && c * kernels::kCacheLineBytes < 32 * pixelBytes;
        if (asks) {
            counters_[c].add(channels[c], count, soon + c * kernels::kCacheLineBytes, pixelBytes);
        } else {
            counters_[c].add(channels[c], count, reinterpret_cast<const std::byte*>(channels[c]),
                             0);
        }
    }
}

void ColorCounter::writeTo(ChannelHistogram& histogram, bool combine) const {
    histogram = ChannelHistogram{};
    for (std::size_t c = 0; c < counters_.size(); ++c) {
        histogram.channels[c + 1] = counters_[c].counts();
    }
    if (combine) {
        addColorsToCombined(histogram);
    }
}

bool countsColors(const PixelView& pixels, AutoCorrectionMode mode) {
    return hasKnownDepth(pixels) && mode != AutoCorrectionMode::MonochromaticContrast;
}

void gatherHistogram(ChannelHistogram& histogram, const PixelView& pixels, bool combine,
                     AutoCorrectionMode mode) {
    if (countsColors(pixels, mode)) {
        LevelRows levels(pixels);
        ColorCounter counter;
        forEachBand(levels, [&](const kernels::ColorRow& band, std::size_t count) {
            counter.add(band, count, nullptr, 0);
        });
        counter.writeTo(histogram, combine);
        return;
    }
    histogram = ChannelHistogram{};
    if (pixels.bitDepth == 8) {
        countLuminance<std::uint8_t>(histogram.channels[0], pixels);
    } else if (pixels.bitDepth == 16) {
        countLuminance<std::uint16_t>(histogram.channels[0], pixels);
    }
}

bool combinesColors(AutoCorrectionMode mode) {
    return mode == AutoCorrectionMode::MonochromaticContrast ||
           mode == AutoCorrectionMode::ColorSearch;
}

} // namespace tintwell
