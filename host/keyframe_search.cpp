#include "host/keyframe_search.h"

#include <algorithm>

namespace tintwell::host {

std::optional<FoundKeyframe> findKeyframe(const ControlTrack& track, const ClipTiming& timing,
                                          std::int64_t time, KeyframeDirection direction) {
    const auto& keys = track.keys();
    const auto startOf = [&](const Keyframe& key) { return timing.startOf(key.frame); };
    auto found = keys.end();
    if (direction == KeyframeDirection::Before) {
        found = std::partition_point(keys.begin(), keys.end(),
                                     [&](const Keyframe& key) { return startOf(key) < time; });
        if (found == keys.begin()) {
            return std::nullopt;
        }
        --found;
    } else {
        found = std::partition_point(keys.begin(), keys.end(),
                                     [&](const Keyframe& key) { return startOf(key) <= time; });
        if (found == keys.end()) {
            return std::nullopt;
        }
    }
    return FoundKeyframe{static_cast<std::int32_t>(found - keys.begin()), found->frame};
}

} // namespace tintwell::host
