#include "media/read/missing_frames.h"

#include <cmath>
#include <utility>

namespace tintwell::media {
namespace {

/// From this distance on, in frames, one is missing in between. Fields that are shown twice, as for
/// film on video, make distances of one and a half.
constexpr double kGap = 1.9;
/// A longer gap, in seconds, is a clock that was set anew.
constexpr double kLongestGap = 3600.0;

} // namespace

void MissingFrames::note(std::int64_t time, const ClipInfo& clip) {
    const std::int64_t previous = std::exchange(previous_, time);
    if (clip.variableFrameRate || time == AV_NOPTS_VALUE || previous == AV_NOPTS_VALUE) {
        return;
    }
    const double seconds =
        (static_cast<double>(time) - static_cast<double>(previous)) * av_q2d(clip.timeBase);
    const double frames = seconds * av_q2d(clip.frameRate);
    if (frames > kGap && seconds < kLongestGap) {
        count_ += std::llround(frames) - 1;
    }
}

} // namespace tintwell::media
