#include "../analysis/planar_frame.h"
#include "module/counting/channel_histogram.h"

#include <gtest/gtest.h>

#include <numeric>

namespace tintwell {
namespace {

using Mode = AutoCorrectionMode;

TEST(ChannelHistogram, BinsDeepSamplesToTheNearestLevelAndWrapsAboveWhite) {
    const PlanarFrame<std::uint16_t> frame(
        3, 2, {{32768, 32767, 65535}, {64, 65, 16384}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}});
    ChannelHistogram histogram;
    gatherHistogram(histogram, viewOfPlanes(frame.image), true, Mode::ColorSearch);
    EXPECT_EQ(histogram.channels[1][255], 1U);
    EXPECT_EQ(histogram.channels[2][255], 1U);
    EXPECT_EQ(histogram.channels[3][254], 1U);
    EXPECT_EQ(histogram.channels[1][0], 5U);
    EXPECT_EQ(histogram.channels[2][1], 1U);
    EXPECT_EQ(histogram.channels[3][128], 1U);
    EXPECT_EQ(histogram.channels[0][255], 2U) << "the sum of the channels";
    EXPECT_EQ(std::accumulate(histogram.channels[0].begin(), histogram.channels[0].end(), 0U), 18U);
}

TEST(ChannelHistogram, CountsOnlyLuminanceInTheMonochromaticMode) {
    const PlanarFrame<std::uint8_t> bytes(2, 1, {{255, 255, 255}, {255, 0, 0}});
    const PlanarFrame<std::uint16_t> words(1, 1, {{32768, 0, 0}});
    ChannelHistogram histogram;
    gatherHistogram(histogram, viewOfPlanes(bytes.image), true, Mode::MonochromaticContrast);
    EXPECT_EQ(histogram.channels[0][255], 1U);
    EXPECT_EQ(histogram.channels[0][76], 1U);
    EXPECT_EQ(histogram.channels[1], LevelCounts{});
    gatherHistogram(histogram, viewOfPlanes(words.image), true, Mode::MonochromaticContrast);
    EXPECT_EQ(histogram.channels[0][76], 1U);
}

} // namespace
} // namespace tintwell
