#pragma once

#include "host/clip_timing.h"
#include "host/frame_buffer.h"
#include "media/clip_info.h"

#include <cstdint>
#include <optional>

namespace tintwell::media {

/// The sample depth at which the effect sees a clip: as wanted, else 16 where the clip has more
/// than 8 bits.
host::SampleDepth worldDepth(const ClipInfo& info, std::optional<host::SampleDepth> wanted);

/// How long a stretch of a clip goes by one clock of the effect, whose times have 32 bits: behind
/// it the clock is set anew, a window before the frame.
inline constexpr std::int64_t kFramesOnOneClock = 4096;

/// The clip on the effect's clock. It is as long as the clock can hold: containers may promise more
/// frames or fewer than can be decoded, and the effect is told the real number as soon as that is
/// of consequence.
host::ClipTiming timingForEffect(const ClipInfo& info);

} // namespace tintwell::media
