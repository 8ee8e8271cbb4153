#include "inspect/clip_walk.h"
#include "media/media_error.h"
#include "test_clip.h"

#include <gtest/gtest.h>

namespace tintwell::inspect {
namespace {

using media::kFrameTimes;

TEST(ClipWalk, FindsOneFrameByItsTimeAsOnTheWayThroughTheClip) {
    const media::TemporaryFolder folder;
    WalkOptions options;
    options.input = (folder.path() / "clip.mov").string();
    options.controls[host::Control::TemporalSmoothing] = host::ControlTrack(0.3);
    media::writeTestClip(options.input);
    ClipWalk walk(options);
    for (std::size_t i = 0; i < kFrameTimes.size(); ++i) {
        const double begin = static_cast<double>(kFrameTimes[i]) / 600.0;
        const std::int64_t frame = frameShownAt(options, begin + 0.001);
        EXPECT_EQ(frame, static_cast<std::int64_t>(i));
        const auto findings = walk.next();
        ASSERT_TRUE(findings);
        EXPECT_DOUBLE_EQ(findings->seconds, begin);
        const InspectedFrame inspected = inspectFrame(options, frame);
        EXPECT_EQ(inspected.findings.smoothed, findings->smoothed);
        EXPECT_EQ(inspected.findings.seconds, findings->seconds);
        EXPECT_EQ(inspected.findings.toNext.has_value(), findings->toNext.has_value());
    }
    EXPECT_FALSE(walk.next());
    EXPECT_EQ(walk.framesRead(), static_cast<std::int64_t>(kFrameTimes.size()));
    EXPECT_EQ(frameShownAt(options, 0.0333333), 1); // 20 / 600, as a person writes it
    for (const double outside : {1.0, 1e300}) {
        EXPECT_THROW(frameShownAt(options, outside), media::MediaError) << outside;
    }
    EXPECT_THROW(inspectFrame(options, 10), media::MediaError);
}

/// Evenly spaced frames are found by reckoning, these ones by reading.
TEST(ClipWalk, SpansOfTimeThatMeetShareAllFramesAmongThem) {
    const media::TemporaryFolder folder;
    WalkOptions options;
    options.input = (folder.path() / "clip.mov").string();
    media::writeTestClip(options.input);
    std::int64_t next = 0;
    for (std::size_t i = 1; i < kFrameTimes.size(); ++i) {
        const double from = static_cast<double>(kFrameTimes[i - 1]) / 600.0;
        const double to = static_cast<double>(kFrameTimes[i]) / 600.0 - 0.001;
        const auto before = framesBetween(options, {from, to});
        EXPECT_TRUE(before.first == next && before.last == next && !before.toEnd) << i;
        const auto rest = framesBetween(options, {to, {}});
        EXPECT_TRUE(rest.first == ++next && rest.toEnd) << i;
    }
    EXPECT_EQ(framesBetween(options, {{}, 99.0}).last, 9);
    EXPECT_EQ(framesBetween(options, {{}, 0.001}).last, 0);
    for (const media::TimeSpan none : {media::TimeSpan{1.0, {}}, {0.435, 9.0}, {0.05, 0.09}}) {
        EXPECT_THROW(framesBetween(options, none), media::MediaError) << *none.from;
    }
}

} // namespace
} // namespace tintwell::inspect
