#include "clip_host.h"
#include "module/temporal/smoothing_tintwell.h"

#include <gtest/gtest.h>

namespace tintwell {
namespace {

using Counts = std::array<std::uint32_t, 3>;

/// A frame of 100 pixels of which `moved` per channel lie in bin 1 and the rest in bin 0: two such
/// frames are twice the difference of their `moved` apart, in hundredths.
std::unique_ptr<FrameCacheEntry> entryOf(const Counts& moved, std::uint16_t level) {
    auto entry = std::make_unique<FrameCacheEntry>();
    entry->histogram = std::make_unique<ChannelHistogram>();
    for (std::size_t c = 0; c < 3; ++c) {
        entry->histogram->channels[c + 1][0] = 100 - moved[c];
        entry->histogram->channels[c + 1][1] = moved[c];
        entry->histogram->channels[0][0] += 100 - moved[c];
    }
    entry->levels = std::make_unique<LevelsRecord>();
    for (LevelsEntry& levels : entry->levels->entries) {
        levels.inputBlack = level;
        levels.gamma = static_cast<std::uint16_t>(100 + level);
    }
    return entry;
}

struct CachedFrame {
    Counts moved;
    std::uint16_t level;
};

/// Smooths one frame of a clip whose every frame is in the cache.
class CachedClip {
public:
    explicit CachedClip(const std::vector<CachedFrame>& frames)
        : host(std::vector<ClipHost::Frame>(frames.size(), ClipHost::Frame(100))) {
        for (std::size_t i = 0; i < frames.size(); ++i) {
            cache.insert(static_cast<std::int32_t>(i), entryOf(frames[i].moved, frames[i].level));
        }
    }

    LevelsRecord smooth(std::int32_t frame, double seconds, bool sceneDetect) {
        host.moveTo(frame);
        CTemporalSmoothingTintwell smoothing;
        smoothing.Init(&host.inData, params, seconds, sceneDetect ? 1 : 0, &cache);
        smoothing.setMode(mode);
        smoothing.SetResult(Held<FrameCacheEntry>::lent(cache.find(frame)));
        FrameCacheEntry destination;
        destination.levels = std::make_unique<LevelsRecord>();
        EXPECT_EQ(smoothing.Compute(&destination), 0);
        return *destination.levels;
    }

    std::uint16_t red(std::int32_t frame, double seconds, bool sceneDetect = false) {
        return smooth(frame, seconds, sceneDetect).entries[1].inputBlack;
    }

    ClipHost host;
    FrameCache cache;
    AutoCorrectionMode mode = AutoCorrectionMode::ColorSearch;
    ParamDef* params[1] = {};
};

// Red distances of consecutive frames: 0.4, 0.2, 0.1, 0.3; green and blue stay.
const std::vector<CachedFrame> kFiveFrames = {
    {{30, 0, 0}, 10}, {{10, 0, 0}, 20}, {{0, 0, 0}, 40}, {{5, 0, 0}, 60}, {{20, 0, 0}, 80}};

TEST(SmoothedLevels, BlendBothSidesTowardTheCurrentFrame) {
    CachedClip clip(kFiveFrames);
    const LevelsRecord levels = clip.smooth(2, 4.0, false);
    // Before: 10, then 20 * 0.4 + 10 * 0.6 = 14. After: 80, then 60 * 0.3 + 80 * 0.7 = 74.
    // 14 * 0.8 / 2 + 74 * 0.9 / 2 + 40 * (0.2 + 0.1) / 2 = 5.6 + 33.3 + 6 = 44.9
    EXPECT_EQ(levels.entries[1].inputBlack, 45);
    // Green is at distance 0 everywhere: the far ends alone count, (10 + 80) / 2.
    EXPECT_EQ(levels.entries[2].inputBlack, 45);
    EXPECT_EQ(levels.entries[0].inputBlack, 40) << "the composite is not averaged";
    EXPECT_EQ(levels.entries[1].gamma, 140) << "gamma is the current frame's";
    EXPECT_TRUE(clip.host.framesRead.empty());
    const FrameCacheEntry& current = *clip.cache.find(2);
    EXPECT_DOUBLE_EQ(current.towardEarlier.red, 0.2);
    EXPECT_DOUBLE_EQ(current.towardLater.red, 0.1);
}

TEST(SmoothedLevels, FollowTheWindowAtTheClipsEnds) {
    CachedClip clip(kFiveFrames);
    // First frame: after side 20 and 40: 40 then 20 * 0.2 + 40 * 0.8 = 36; 36 * 0.6 / 2 + 10 * 0.7
    EXPECT_EQ(clip.red(0, 4.0), 18);
    // Last frame: before side 60 and 40: 40, then 60 * 0.1 + 40 * 0.9 = 42; 42 * 0.35 + 80 * 0.65
    EXPECT_EQ(clip.red(4, 4.0), 67);
    EXPECT_EQ(clip.red(2, 0.0), 40) << "no window";
    // One second is a window of (1 + 1) / 2 = 1 frame on each side: 20 * 0.4 + 60 * 0.45 + 40 *
    // 0.15
    EXPECT_EQ(clip.red(2, 1.0), 41);
    EXPECT_EQ(CachedClip({{{0, 0, 0}, 33}}).red(0, 10.0), 33) << "a clip of one frame";
}

TEST(SmoothedLevels, MonochromaticModeWeighsEveryEntryByLuminance) {
    CachedClip clip(kFiveFrames);
    clip.mode = AutoCorrectionMode::MonochromaticContrast;
    for (std::int32_t frame = 0; frame < 5; ++frame) {
        ChannelHistogram& histogram = *clip.cache.find(frame)->histogram;
        histogram.channels[0] = histogram.channels[1];
    }
    const LevelsRecord levels = clip.smooth(2, 4.0, false);
    EXPECT_EQ(levels.entries[0].inputBlack, 45);
    EXPECT_EQ(levels.entries[3].inputBlack, 45);
}

TEST(SmoothedLevels, StopAtCuts) {
    struct Case {
        const char* what;
        Counts afterCut; // frames 3 and 4; frames 0 to 2 are at 0
        bool sceneDetect;
        std::uint16_t expectedRed, expectedBlue;
    };

    // The frame behind the cut ends the window: one frame after, two before at distance 0.
    // Before is 10; with after 60 at distance d: 10 / 2 + 60 * (1 - d) / 2 + 40 * d / 2.
    const Case cases[] = {
        {"0.5 in one channel cuts", {0, 25, 0}, true, 35, 35},
        {"not without scene detection", {0, 25, 0}, false, 45, 45},
        {"just below 0.5 does not", {0, 24, 0}, true, 45, 45},
        {"1.0 in all three always cuts", {50, 50, 50}, false, 25, 25},
        // Red and green take 40 of the current frame, blue goes on: 10 / 2 + 80 / 2.
        {"1.0 in two channels only", {50, 50, 0}, false, 25, 45},
    };
    for (const Case& c : cases) {
        CachedClip clip({{{0, 0, 0}, 10},
                         {{0, 0, 0}, 20},
                         {{0, 0, 0}, 40},
                         {c.afterCut, 60},
                         {c.afterCut, 80}});
        const LevelsRecord levels = clip.smooth(2, 4.0, c.sceneDetect);
        EXPECT_EQ(levels.entries[1].inputBlack, c.expectedRed) << c.what;
        EXPECT_EQ(levels.entries[3].inputBlack, c.expectedBlue) << c.what;
    }
}

TEST(SmoothedLevels, StaleFramesAreAnalysedAgainWithTheirOwnControls) {
    // Pixels of two halves, so that Black Clip decides where black lies: at 0 the lower level.
    ClipHost::Frame frame(100, {255, 60, 60, 60});
    std::fill(frame.begin() + 50, frame.end(), ClipHost::Pixel{255, 200, 200, 200});
    ClipHost host({frame, frame});
    FrameCache cache;
    cache.insert(0, entryOf({0, 0, 0}, 7));
    cache.insert(1, entryOf({0, 0, 0}, 9));
    gatherHistogram(*cache.find(1)->histogram,
                    viewOfPixels({reinterpret_cast<std::byte*>(frame.data()), 400, 100, 1, 8}, 0),
                    true, AutoCorrectionMode::ColorSearch);
    cache.find(1)->isStale = true;
    ParamDef* params[1] = {};
    CTemporalSmoothingTintwell smoothing;
    smoothing.Init(&host.inData, params, 1.0, 0, &cache);
    smoothing.setMode(AutoCorrectionMode::ColorSearch);
    smoothing.SetResult(Held<FrameCacheEntry>::lent(cache.find(0)));
    FrameCacheEntry destination;
    destination.levels = std::make_unique<LevelsRecord>();
    ASSERT_EQ(smoothing.Compute(&destination), 0);
    EXPECT_EQ(host.framesRead, (std::vector<std::int32_t>{1}));
    EXPECT_FALSE(cache.find(1)->isStale);
    EXPECT_EQ(cache.find(1)->levels->entries[1].inputBlack, 60);
    EXPECT_EQ(host.checkedOut, 0);
}

TEST(SmoothedLevels, FailuresReturnTheHostsCodeAndLeaveNothingOut) {
    const ClipHost::Frame frame(4, {255, 10, 20, 30});
    ParamDef* params[1] = {};
    for (ErrorCode ClipHost::*answer :
         {&ClipHost::abortAnswer, &ClipHost::checkOutAnswer, &ClipHost::checkInAnswer}) {
        ClipHost host({frame, frame, frame});
        host.moveTo(1);
        host.*answer = 519;
        FrameCache cache;
        CTemporalSmoothingTintwell smoothing;
        smoothing.Init(&host.inData, params, 2.0, 0, &cache);
        smoothing.SetResult(Held<FrameCacheEntry>::owned(entryOf({0, 0, 0}, 1)));
        FrameCacheEntry destination;
        destination.levels = std::make_unique<LevelsRecord>();
        EXPECT_EQ(smoothing.Compute(&destination), 519);
        EXPECT_EQ(host.checkedOut, 0);
        EXPECT_EQ(cache.size(), 0U);
    }
}

TEST(SmoothedLevels, MissingRecordsAre512) {
    CTemporalSmoothingTintwell smoothing;
    FrameCacheEntry destination;
    destination.levels = std::make_unique<LevelsRecord>();
    EXPECT_EQ(smoothing.Compute(nullptr), 512);
    EXPECT_EQ(smoothing.Compute(&destination), 512) << "no Init";
    CachedClip clip(kFiveFrames);
    clip.cache.find(2)->histogram.reset();
    smoothing.Init(&clip.host.inData, clip.params, 2.0, 0, &clip.cache);
    smoothing.SetResult(Held<FrameCacheEntry>::lent(clip.cache.find(2)));
    EXPECT_EQ(smoothing.Compute(&destination), 512) << "no fingerprint";
}

TEST(SmoothedLevels, FrameArithmeticSurvivesExtremeTimes) {
    constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t step : {kLowest, -1, 0, 1, kHighest}) {
        for (const std::int32_t time : {kLowest, 0, kHighest}) {
            ClipHost host({{{255, 1, 2, 3}}});
            host.inData.timeStep = step;
            host.inData.currentTime = time;
            host.inData.totalDuration = time;
            host.inData.timeScale = 0xffffffffU;
            host.abortAnswer = 517; // no walk gets further than its first frame
            FrameCache cache;
            ParamDef* params[1] = {};
            CTemporalSmoothingTintwell smoothing;
            smoothing.Init(&host.inData, params, 1e300, 1, &cache);
            smoothing.SetResult(Held<FrameCacheEntry>::owned(entryOf({0, 0, 0}, 1)));
            FrameCacheEntry destination;
            destination.levels = std::make_unique<LevelsRecord>();
            const ErrorCode code = smoothing.Compute(&destination);
            EXPECT_TRUE(code == 0 || code == 517) << step << " " << time;
        }
    }
}

} // namespace
} // namespace tintwell
