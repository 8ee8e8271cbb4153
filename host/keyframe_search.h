#pragma once

#include "host/clip_timing.h"
#include "host/control_track.h"

#include <cstdint>
#include <optional>

namespace tintwell::host {

/// The direction codes of the effect's keyframe query. Both are strict, so that the two answers
/// enclose every frame whose value an edit at the asked time can have changed: an edit of a
/// keyframe reaches back to the one before it and forward to the one after it.
enum class KeyframeDirection : std::int32_t {
    After = 0,  ///< the first keyframe later than the time
    Before = 1, ///< the last keyframe earlier than the time
};

struct FoundKeyframe {
    std::int32_t index; ///< from 0, in order of time
    std::int32_t frame;
};

/// `time` is in the clip's units. Empty when there is no keyframe on that side.
std::optional<FoundKeyframe> findKeyframe(const ControlTrack& track, const ClipTiming& timing,
                                          std::int64_t time, KeyframeDirection direction);

} // namespace tintwell::host
