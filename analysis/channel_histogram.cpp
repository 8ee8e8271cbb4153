#include "analysis/channel_histogram.h"

#include "kernels/kernels.h"
#include "numeric/level_scale.h"

#include <algorithm>
#include <cstddef>

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
void countLuminance(LevelCounts& counts, const PlanarImage& image) {
    for (std::int32_t y = 0; y < rowCount(image); ++y) {
        const Sample* red = planeRow<Sample>(image, 1, y);
        const Sample* green = planeRow<Sample>(image, 2, y);
        const Sample* blue = planeRow<Sample>(image, 3, y);
        for (std::size_t x = 0; x < rowSamples(image); ++x) {
            ++counts[levelOf(luminance(red[x], green[x], blue[x]))];
        }
    }
}

template <class Sample>
void countColors(ChannelHistogram& histogram, const PlanarImage& image) {
    for (std::int32_t plane = 1; plane <= kColorPlanes; ++plane) {
        std::uint32_t* bins = histogram.channels[static_cast<std::size_t>(plane)].data();
        for (std::int32_t y = 0; y < rowCount(image); ++y) {
            kernels::kernelsFor<Sample>().countLevels(planeRow<Sample>(image, plane, y),
                                                      rowSamples(image), bins);
        }
    }
}

template <class Sample>
void count(ChannelHistogram& histogram, const PlanarImage& image, AutoCorrectionMode mode) {
    if (mode == AutoCorrectionMode::MonochromaticContrast) {
        countLuminance<Sample>(histogram.channels[0], image);
    } else {
        countColors<Sample>(histogram, image);
    }
}

void addColorsToCombined(ChannelHistogram& histogram, std::int32_t channelCount) {
    for (std::size_t c = 1; c <= static_cast<std::size_t>(channelCount); ++c) {
        for (std::size_t bin = 0; bin < histogram.channels[0].size(); ++bin) {
            histogram.channels[0][bin] += histogram.channels[c][bin];
        }
    }
}

} // namespace

void gatherHistogram(ChannelHistogram& histogram, const PlanarImage& image, bool combine,
                     AutoCorrectionMode mode) {
    histogram = ChannelHistogram{};
    if (image.bitDepth == 8) {
        count<std::uint8_t>(histogram, image, mode);
    } else if (image.bitDepth == 16) {
        count<std::uint16_t>(histogram, image, mode);
    }
    if (combine && mode != AutoCorrectionMode::MonochromaticContrast && image.channelCount >= 1) {
        addColorsToCombined(histogram, std::min(image.channelCount, kColorPlanes));
    }
}

} // namespace tintwell
