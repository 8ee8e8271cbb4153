#include "host/control_track.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace tintwell::host {

ControlTrack::ControlTrack(std::vector<Keyframe> keys) : keys_(std::move(keys)) {
    if (keys_.empty()) {
        throw std::invalid_argument("a keyframed control needs at least one keyframe");
    }
    const auto outOfOrder = [](const Keyframe& a, const Keyframe& b) { return a.frame >= b.frame; };
    const auto wrong = std::adjacent_find(keys_.begin(), keys_.end(), outOfOrder);
    if (wrong != keys_.end()) {
        throw std::invalid_argument("keyframe at frame " + std::to_string((wrong + 1)->frame) +
                                    " does not come after the one at frame " +
                                    std::to_string(wrong->frame));
    }
}

double ControlTrack::greatestValue() const {
    const auto greatest = std::ranges::max_element(keys_, {}, &Keyframe::value);
    return greatest == keys_.end() ? constant_ : greatest->value;
}

double ControlTrack::valueAt(std::int32_t frame) const {
    if (keys_.empty()) {
        return constant_;
    }
    const auto next =
        std::upper_bound(keys_.begin(), keys_.end(), frame,
                         [](std::int32_t f, const Keyframe& k) { return f < k.frame; });
    if (next == keys_.begin()) {
        return next->value;
    }
    const auto previous = next - 1;
    if (next == keys_.end() || previous->interpolation == Interpolation::Hold) {
        return previous->value;
    }
    const double span = static_cast<double>(next->frame) - previous->frame;
    const double way = (static_cast<double>(frame) - previous->frame) / span;
    return previous->value + (next->value - previous->value) * way;
}

} // namespace tintwell::host
