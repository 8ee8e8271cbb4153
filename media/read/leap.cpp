#include "media/read/leap.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace tintwell::media {
namespace {

/// Decoded before a frame that is leapt to: the container's idea of the key frame before it may be
/// off by the pictures that are stored in another order than they are shown in.
constexpr std::int64_t kLeapRun = 32;
/// Less is decoded as quickly as it is leapt over.
constexpr std::int64_t kShortestLeap = 64;

} // namespace

std::optional<Leap> Leap::plan(AVStream& video, std::int64_t firstPts, std::int64_t index) {
    // There is no pts where the container knows the order of storage only.
    if (index < kLeapRun + kShortestLeap || firstPts == AV_NOPTS_VALUE) {
        return {};
    }
    const std::optional<Pace> pace = paceOf(video);
    return pace ? std::optional(Leap(*pace, firstPts, index)) : std::nullopt;
}

std::int64_t Leap::start() const {
    return timeOf(index_ - kLeapRun);
}

std::int64_t Leap::timeOf(std::int64_t index) const {
    return firstPts_ + av_rescale(index, pace_.ticks, pace_.frames);
}

} // namespace tintwell::media
