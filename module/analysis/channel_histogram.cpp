#include "module/analysis/channel_histogram.h"

#include "module/analysis/level_rows.h"
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

void countLuminance(LevelCounts& counts, const PixelView& pixels) {
    if (pixels.bitDepth == 8) {
        countLuminance<std::uint8_t>(counts, pixels);
    } else {
        countLuminance<std::uint16_t>(counts, pixels);
    }
}

/// Planes of levels, one after the other: each is one stream from memory and needs one counter's
/// pairs at hand.
void countPlanes(ChannelHistogram& histogram, const PixelView& pixels) {
    LevelCounter counter;
    for (std::size_t channel = 0; channel < pixels.channels.size(); ++channel) {
        for (std::int32_t y = 0; y < pixels.rows; ++y) {
            counter.add(reinterpret_cast<const std::uint8_t*>(pixels.row(channel, y)),
                        pixels.rowPixels);
        }
        histogram.channels[channel + 1] = counter.take();
    }
}

void countRows(ChannelHistogram& histogram, const PixelView& pixels) {
    LevelRows levels(pixels);
    std::array<LevelCounter, 3> counters;
    for (std::int32_t y = 0; y < levels.rows(); ++y) {
        const auto rows = levels.channels(y);
        for (std::size_t channel = 0; channel < counters.size(); ++channel) {
            counters[channel].add(rows[channel], levels.rowPixels());
        }
    }
    for (std::size_t channel = 0; channel < counters.size(); ++channel) {
        histogram.channels[channel + 1] = counters[channel].take();
    }
}

void countColors(ChannelHistogram& histogram, const PixelView& pixels) {
    if (pixels.bitDepth == 8 && !pixels.isInterleaved()) {
        countPlanes(histogram, pixels);
    } else {
        countRows(histogram, pixels);
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

void gatherHistogram(ChannelHistogram& histogram, const PixelView& pixels, bool combine,
                     AutoCorrectionMode mode) {
    histogram = ChannelHistogram{};
    if (pixels.bitDepth != 8 && pixels.bitDepth != 16) {
        return;
    }
    if (mode == AutoCorrectionMode::MonochromaticContrast) {
        countLuminance(histogram.channels[0], pixels);
        return;
    }
    countColors(histogram, pixels);
    if (combine) {
        addColorsToCombined(histogram);
    }
}

bool combinesColors(AutoCorrectionMode mode) {
    return mode == AutoCorrectionMode::MonochromaticContrast ||
           mode == AutoCorrectionMode::ColorSearch;
}

} // namespace tintwell
