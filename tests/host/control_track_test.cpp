#include "host/clip_timing.h"
#include "host/control_track.h"
#include "host/keyframe_search.h"
#include "host/state_token.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <stdexcept>
#include <string>

namespace tintwell::host {
namespace {

const ControlTrack kTrack(std::vector<Keyframe>{{10, 1.0, Interpolation::Linear},
                                                {14, 3.0, Interpolation::Hold},
                                                {20, 0.0, Interpolation::Linear}});

TEST(ControlTrack, holdsAndInterpolates) {
    constexpr std::int32_t kLast = std::numeric_limits<std::int32_t>::max();
    constexpr std::pair<std::int32_t, double> kExpected[] = {{-kLast, 1.0}, {10, 1.0},   {11, 1.5},
                                                             {13, 2.5},     {14, 3.0},   {19, 3.0},
                                                             {20, 0.0},     {kLast, 0.0}};
    for (const auto& [frame, value] : kExpected) {
        EXPECT_EQ(kTrack.valueAt(frame), value) << frame;
    }
    const ControlTrack wide(std::vector<Keyframe>{{-kLast - 1, 0.0}, {kLast, 4294967295.0}});
    EXPECT_EQ(wide.valueAt(0), 2147483648.0);
    EXPECT_EQ(ControlTrack(2.5).valueAt(-7), 2.5);
}

TEST(ControlTrack, refusesKeysOutOfOrder) {
    EXPECT_THROW(ControlTrack(std::vector<Keyframe>{}), std::invalid_argument);
    EXPECT_THROW(ControlTrack(std::vector<Keyframe>{{3, 0.0}, {3, 1.0}}), std::invalid_argument);
    EXPECT_THROW(ControlTrack(std::vector<Keyframe>{{3, 0.0}, {2, 1.0}}), std::invalid_argument);
}

TEST(KeyframeSearch, enclosesTheTimeStrictly) {
    const ClipTiming timing{100, 1001, 30000};

    struct Case {
        std::int64_t time;
        int before; ///< expected frames, -1 for none
        int after;
    };

    for (const Case& c : {Case{0, -1, 10}, Case{10010, -1, 14}, Case{10011, 10, 14},
                          Case{14014, 10, 20}, Case{20020, 14, -1}, Case{99999, 20, -1}}) {
        const auto before = findKeyframe(kTrack, timing, c.time, KeyframeDirection::Before);
        const auto after = findKeyframe(kTrack, timing, c.time, KeyframeDirection::After);
        EXPECT_EQ(before ? before->frame : -1, c.before) << c.time;
        EXPECT_EQ(after ? after->frame : -1, c.after) << c.time;
    }
    EXPECT_FALSE(findKeyframe(ControlTrack(1.0), timing, 5, KeyframeDirection::After));
    EXPECT_EQ(findKeyframe(kTrack, timing, 19000, KeyframeDirection::After)->index, 2);
}

TEST(ClipTiming, roundsTimesDownAndRefusesWhatDoesNotFit) {
    const ClipTiming timing{100, 1001, 30000};
    EXPECT_EQ(timing.frameAt(timing.clipTime(timing.timeOf(7), 30000)), 7);
    EXPECT_EQ(timing.frameAt(timing.timeOf(7) - 1), 6);
    EXPECT_EQ(timing.frameAt(-1), -1);
    EXPECT_EQ(timing.clipTime(-1, 60000), -1);
    EXPECT_EQ(timing.clipTime(1, 1), 30000);
    EXPECT_EQ(timing.timeOf(-2000000000), std::numeric_limits<std::int32_t>::min());
    EXPECT_THROW((ClipTiming{2147484, 1000, 1}.check()), std::invalid_argument);
    EXPECT_NO_THROW((ClipTiming{2147483, 1000, 1}.check()));
    EXPECT_THROW((ClipTiming{1, 0, 1}.check()), std::invalid_argument);
}

std::string token(const ControlTracks& tracks, std::optional<Control> only = {}) {
    const StateToken state = stateOf(tracks, only);
    return {reinterpret_cast<const char*>(state.bytes), sizeof state.bytes};
}

TEST(StateToken, differsWithEachPartOfATrack) {
    const auto with = [](Control control, const auto& content) {
        ControlTracks tracks;
        tracks[Control::BlackClip] = kTrack;
        tracks[control] = ControlTrack(content);
        return tracks;
    };
    const ControlTracks base = with(Control::WhiteClip, 0.0);
    ControlTracks moved; // the same values under another control
    moved[Control::WhiteClip] = kTrack;
    std::set<std::string> tokens = {token(base), token(moved),
                                    token(with(Control::WhiteClip, 1e-9)),
                                    token(with(Control::BlackClip, 1.0))};
    for (const Keyframe& first :
         {Keyframe{9, 1.0}, Keyframe{10, 1.25}, Keyframe{10, 1.0, Interpolation::Hold}}) {
        std::vector<Keyframe> keys = kTrack.keys();
        keys[0] = first;
        tokens.insert(token(with(Control::BlackClip, keys)));
    }
    EXPECT_EQ(tokens.size(), 7U);
    EXPECT_EQ(token(with(Control::WhiteClip, -0.0)), token(base));
    EXPECT_EQ(token(with(Control::WhiteClip, 3.0), Control::BlackClip),
              token(base, Control::BlackClip));
}

} // namespace
} // namespace tintwell::host
