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

} // namespace
} // namespace tintwell::inspect
