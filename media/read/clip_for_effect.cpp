#include "media/read/clip_for_effect.h"

#include <algorithm>
#include <cstdint>
#include <limits>

extern "C" {
#include <libavutil/rational.h>
}

namespace tintwell::media {

host::SampleDepth worldDepth(const ClipInfo& info, std::optional<host::SampleDepth> wanted) {
    return wanted.value_or(info.bitsPerChannel > 8 ? host::SampleDepth::Bits16
                                                   : host::SampleDepth::Bits8);
}

host::ClipTiming timingForEffect(const ClipInfo& info) {
    constexpr std::int64_t kMaximum = std::numeric_limits<std::int32_t>::max();
    const std::int64_t frames =
        std::max<std::int64_t>(info.frameCount ? info.frameCount->frames : 1, 1);
    int scale = info.frameRate.num;
    int step = info.frameRate.den;
    if (frames > kMaximum / step) {
        av_reduce(&scale, &step, info.frameRate.num, info.frameRate.den, kMaximum / frames);
    }
    host::ClipTiming timing;
    timing.timeStep = std::max(step, 1);
    timing.timeScale = static_cast<std::uint32_t>(std::max(scale, 1));
    timing.frameCount = static_cast<std::int32_t>(kMaximum / timing.timeStep);
    return timing;
}

} // namespace tintwell::media
