#include "host/clip_timing.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace tintwell::host {

namespace {

/// Integer division rounding toward minus infinity; the divisor is above 0.
std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    const std::int64_t quotient = value / divisor;
    return value % divisor < 0 ? quotient - 1 : quotient;
}

} // namespace

void ClipTiming::check() const {
    if (firstFrame < 0 || frameCount <= firstFrame || timeStep < 1 || timeScale < 1) {
        throw std::invalid_argument("a clip needs a frame count, time step and time scale above 0");
    }
    if (startOf(frameCount) > std::numeric_limits<std::int32_t>::max()) {
        throw std::invalid_argument("the clip is too long for its time scale: its duration in "
                                    "time units does not fit 32 bits");
    }
}

std::int32_t ClipTiming::timeOf(std::int32_t frame) const {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(startOf(frame), Limits::min(), Limits::max()));
}

std::int64_t ClipTiming::startOf(std::int32_t frame) const {
    return (std::int64_t{frame} - firstFrame) * timeStep;
}

std::int32_t ClipTiming::longestFrameCount() const {
    constexpr std::int64_t kMaximum = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(kMaximum, firstFrame + kMaximum / timeStep));
}

std::int64_t ClipTiming::clipTime(std::int32_t time, std::uint32_t scale) const {
    return floorDivide(std::int64_t{time} * timeScale, scale);
}

std::int64_t ClipTiming::frameAt(std::int64_t time) const {
    return firstFrame + floorDivide(time, timeStep);
}

} // namespace tintwell::host
