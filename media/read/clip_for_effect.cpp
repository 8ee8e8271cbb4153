#include "media/read/clip_for_effect.h"

#include "media/media_error.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

extern "C" {
#include <libavutil/rational.h>
}

namespace tintwell::media {

host::SampleDepth worldDepth(const ClipInfo& info, std::optional<host::SampleDepth> wanted) {
    if (info.referenceWhite > 0.0) {
        if (wanted == host::SampleDepth::Bits8) {
            throw MediaError("--hdr keep-peak works at 16 bits per channel; leave --depth 8 out");
        }
        return host::SampleDepth::Bits16;
    }
    return wanted.value_or(info.bitsPerChannel > 8 ? host::SampleDepth::Bits16
                                                   : host::SampleDepth::Bits8);
}

host::ClipTiming timingForEffect(const ClipInfo& info) {
    constexpr int kMaximum = std::numeric_limits<std::int32_t>::max();
    // Windows are at most ten seconds long, with half of them on either side.
    constexpr double kSecondsAround = 30.0;
    const double around = std::ceil(kSecondsAround * av_q2d(info.frameRate));
    const auto frames = static_cast<int>(
        std::min<double>(2 * kFramesOnOneClock + around, std::numeric_limits<int>::max()));
    int scale = info.frameRate.num;
    int step = info.frameRate.den;
    if (step > kMaximum / frames) {
        av_reduce(&scale, &step, scale, step, kMaximum / frames);
    }
    host::ClipTiming timing;
    timing.timeStep = std::max(step, 1);
    timing.timeScale = static_cast<std::uint32_t>(std::max(scale, 1));
    timing.frameCount = timing.longestFrameCount();
    return timing;
}

} // namespace tintwell::media
