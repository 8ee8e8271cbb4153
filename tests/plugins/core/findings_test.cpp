// What is found of frames, and how long it is believed.

#include "plugins/core/clip_findings.h"
#include "plugins/core/controls.h"
#include "plugins/core/steady_levels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tintwell::plugins {
namespace {

/// A small ramp of grey floats that begins at a level of its own.
class Ramp {
public:
    explicit Ramp(float start) {
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            const std::size_t pixel = i / 3;
            samples_[i] = start + static_cast<float>(pixel) * 0.02F;
        }
    }

    SourceFrame frame() const {
        return {reinterpret_cast<const std::byte*>(samples_.data()),
                {0, 4, 8, 0},
                12,
                96,
                8,
                4,
                SampleType::Float,
                Alpha::None};
    }

private:
    std::array<float, 96> samples_;
};

TEST(FindingsStore, KnowsPixelsAgainAndStaysSmall) {
    FindingsStore store(2);
    ClipFindings clip(store);
    ClipFindings other(store);
    const Ramp ramp(0.1F);
    const SharedFinding found = clip.see(7, ramp.frame(), {10, 10, 0});
    EXPECT_EQ(other.look(Ramp(0.1F).frame(), {10, 10, 0}), found) << "the same pixels elsewhere";
    EXPECT_NE(other.look(ramp.frame(), {10, 90, 0}), found) << "other controls";
    EXPECT_EQ(other.look(ramp.frame(), {10, 10, 0}), found);
    other.look(Ramp(0.3F).frame(), {10, 10, 0}); // drops the controls that were not used since
    EXPECT_EQ(other.look(ramp.frame(), {10, 10, 0}), found);
    other.look(Ramp(0.2F).frame(), {10, 10, 0});
    other.look(Ramp(0.4F).frame(), {10, 10, 0});
    EXPECT_NE(other.look(ramp.frame(), {10, 10, 0}), found) << "more is kept than was said";
}

TEST(ClipFindings, BelievesNothingOfAClipThatHasChanged) {
    FindingsStore store;
    ClipFindings clip(store);
    const AnalysisControls controls = {10, 10, 0};
    for (std::int64_t frame = 0; frame < 6; ++frame) {
        clip.see(frame, Ramp(0.05F * static_cast<float>(frame)).frame(), controls);
    }
    EXPECT_TRUE(clip.recall(3, controls));
    EXPECT_FALSE(clip.recall(3, {10, 11, 0}));
    clip.keepOnly(2, 4);
    EXPECT_FALSE(clip.recall(1, controls) || clip.recall(5, controls));
    clip.see(2, Ramp(0.1F).frame(), controls);
    EXPECT_TRUE(clip.recall(4, controls)) << "nothing has changed";
    clip.see(2, Ramp(0.11F).frame(), controls);
    EXPECT_TRUE(clip.recall(2, controls));
    EXPECT_FALSE(clip.recall(4, controls)) << "another frame has changed";
    const Ramp ramp(0.2F);
    SourceFrame proxy = ramp.frame();
    proxy.height = 2;
    clip.see(9, proxy, controls);
    EXPECT_FALSE(clip.recall(2, controls)) << "it was of another size";
}

TEST(Controls, AreTheModulesWhateverAHostSays) {
    const double nan = std::nan("");
    const ControlValues initial = valuesOf({});
    EXPECT_EQ(initial.analysis, (AnalysisControls{10, 10, 0}));
    EXPECT_EQ(initial.blend, 0);
    const ControlValues wild = valuesOf({-1.0, true, 1e300, nan, true, 250.0});
    EXPECT_EQ(wild.smoothingSeconds, 0.0);
    EXPECT_EQ(wild.analysis, (AnalysisControls{1000, 0, 1}));
    EXPECT_EQ(wild.blend, 65536);
}

TEST(SteadyLevels, CountsFramesAsTheModuleDoes) {
    struct RateCase {
        double rate;
        std::uint32_t timeScale;
        std::int32_t timeStep;
    };

    const RateCase cases[] = {
        {23.976, 24000, 1001}, {24000.0 / 1001.0, 24000, 1001},
        {23.98, 24000, 1001},  {24.0, 24000, 1000},
        {29.97, 30000, 1001},  {59.94, 60000, 1001},
        {12.5, 12500, 1000},   {0.0, 25, 1},
        {std::nan(""), 25, 1}, {1e9, 1000000, 1000},
        {-24.0, 25, 1},        {std::numeric_limits<double>::infinity(), 1000000, 1000},
    };
    for (const RateCase& test : cases) {
        const FrameRate rate = frameRateOf(test.rate);
        EXPECT_EQ(rate.timeScale, test.timeScale) << test.rate;
        EXPECT_EQ(rate.timeStep, test.timeStep) << test.rate;
    }
    EXPECT_EQ(windowReach(frameRateOf(25.0), 1.0), 13);
    EXPECT_EQ(windowReach(frameRateOf(25.0), 0.0), 0);
}

} // namespace
} // namespace tintwell::plugins
