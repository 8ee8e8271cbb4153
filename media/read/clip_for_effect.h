#pragma once

#include "host/clip_timing.h"
#include "host/frame_buffer.h"
#include "media/clip_info.h"

#include <optional>

namespace tintwell::media {

/// The sample depth at which the effect sees a clip: as wanted, else 16 where the clip has more
/// than 8 bits.
host::SampleDepth worldDepth(const ClipInfo& info, std::optional<host::SampleDepth> wanted);

/// The clip on the effect's clock, whose 32 bits must hold the whole clip. It is as long as they
/// can hold: containers may promise more frames or fewer than can be decoded, and the effect is
/// told the real number as soon as that is of consequence.
host::ClipTiming timingForEffect(const ClipInfo& info);

} // namespace tintwell::media
