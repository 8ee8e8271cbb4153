#include "analysis/automatic_correction.h"
#include "planar_frame.h"

#include <gtest/gtest.h>

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
    analyzeFrame(mode, image, levels, histogram);
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
    analyzeFrame(Mode::ColorSearch, frame->image, levels, histogram);
    EXPECT_EQ(*levels, before);
    EXPECT_EQ(*histogram, ChannelHistogram{});

    levels.reset();
    analyzeFrame(Mode::ColorSearch, frame->image, levels, histogram);
    EXPECT_EQ(*levels, LevelsRecord{}) << "the stored histogram is empty, so nothing is found";
}

} // namespace
} // namespace tintwell
