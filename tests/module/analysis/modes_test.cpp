#include "module/analysis/automatic_correction.h"
#include "planar_frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace tintwell {
namespace {

using Frame = PlanarFrame<std::uint8_t>;
using Mode = AutoCorrectionMode;

std::unique_ptr<Frame> ramp() {
    std::vector<Frame::Color> pixels;
    for (int i = 0; i < 100; ++i) {
        const auto level = static_cast<std::uint8_t>(50 + i);
        pixels.push_back({level, static_cast<std::uint8_t>(level + 20), level});
        pixels.push_back(pixels.back());
    }
    return std::make_unique<Frame>(20, 10, pixels);
}

LevelsRecord levelsOf(Mode mode, const PlanarImage& image) {
    std::unique_ptr<LevelsRecord> levels;
    std::unique_ptr<ChannelHistogram> histogram;
    analyzeFrame(mode, analyzedPlanes(image), levels, histogram);
    return *levels;
}

TEST(AutomaticCorrection, EachModeWritesItsEntries) {
    const auto frame = ramp();
    frame->image.blackClip = frame->image.whiteClip = 0;
    const LevelsEntry neutral;

    const LevelsRecord contrast = levelsOf(Mode::PerChannelContrast, frame->image);
    EXPECT_EQ(contrast.entries[0], neutral);
    EXPECT_EQ(contrast.entries[1], (LevelsEntry{50, 149, 0, 255, 100}));
    EXPECT_EQ(contrast.entries[2], (LevelsEntry{70, 169, 0, 255, 100}));

    const LevelsRecord mono = levelsOf(Mode::MonochromaticContrast, frame->image);
    EXPECT_EQ(mono.entries[0], (LevelsEntry{62, 161, 0, 255, 100}));
    EXPECT_EQ(mono.entries[1], neutral);

    EXPECT_EQ(levelsOf(static_cast<Mode>(7), frame->image), LevelsRecord{});
}

TEST(AutomaticCorrection, FilledSlotsStayAsTheyAre) {
    const auto frame = ramp();
    auto levels = std::make_unique<LevelsRecord>();
    levels->entries[1].gamma = 123;
    auto histogram = std::make_unique<ChannelHistogram>();
    const LevelsRecord before = *levels;
    analyzeFrame(Mode::ColorSearch, analyzedPlanes(frame->image), levels, histogram);
    EXPECT_EQ(*levels, before);
    EXPECT_EQ(*histogram, ChannelHistogram{});

    levels.reset();
    analyzeFrame(Mode::ColorSearch, analyzedPlanes(frame->image), levels, histogram);
    EXPECT_EQ(*levels, LevelsRecord{}) << "the stored histogram is empty, so nothing is found";
}

ChannelHistogram anyHistogram(std::mt19937& random) {
    constexpr std::uint32_t kCounts[] = {1, 2, 3, 999, 0x7fffffffU, 0x80000000U, 0xffffffffU};
    ChannelHistogram histogram;
    const std::size_t bins[] = {0, 1, 2, 20, 1000, 1000};
    for (LevelCounts& counts : histogram.channels) {
        const std::size_t range = 1 + random() % 256;
        for (std::size_t i = bins[random() % std::size(bins)]; i > 0; --i) {
            counts[(255 + random() % range) % 256] = kCounts[random() % std::size(kCounts)];
        }
    }
    return histogram;
}

TEST(AutomaticCorrection, LevelsStayInRangeForAnyHistogramAndControls) {
    constexpr auto kMost = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t kClips[] = {-kMost - 1, -1, 0, 1, 10, 1000, 9999, 10000, 10001, kMost};
    std::mt19937 random(23);
    int snapped = 0;
    for (int round = 0; round < 20000; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const auto width = static_cast<std::int32_t>(2 + random() % 9);
        std::vector<Frame::Color> pixels(static_cast<std::size_t>(width) * 3);
        const std::size_t range = std::size_t{1} << random() % 9;
        for (Frame::Color& pixel : pixels) {
            for (std::uint8_t& sample : pixel) {
                sample = static_cast<std::uint8_t>(128 + random() % range);
            }
        }
        Frame frame(width, 3, pixels);
        frame.image.blackClip = kClips[random() % std::size(kClips)];
        frame.image.whiteClip = kClips[random() % std::size(kClips)];
        frame.image.snapNeutralMidtones = static_cast<std::int32_t>(random() % 2);
        const auto histogram = anyHistogram(random);
        for (const Mode mode :
             {Mode::PerChannelContrast, Mode::MonochromaticContrast, Mode::ColorSearch}) {
            LevelsRecord levels;
            ToneSearchContext context(analyzedPlanes(frame.image));
            computeAutoLevels(mode, levels, histogram, 0, context);
            for (const LevelsEntry& entry : levels.entries) {
                // Only the colour search sees to it that something is left between the ends.
                EXPECT_GE(entry.inputWhite, entry.inputBlack + (mode == Mode::ColorSearch ? 4 : 0));
                EXPECT_LE(entry.inputWhite, 255);
                EXPECT_LE(std::max(entry.outputBlack, entry.outputWhite), 255);
                EXPECT_TRUE(entry.gamma >= 1 && entry.gamma <= 32767) << entry.gamma;
            }
            snapped += levels.entries[1].gamma != 100;
        }
    }
    EXPECT_GT(snapped, 200) << "the rounds reach gammas";
}

} // namespace
} // namespace tintwell
