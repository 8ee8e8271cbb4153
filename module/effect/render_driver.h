#pragma once

// One output frame: find the input's levels, smooth them if asked, and write it corrected.

#include "module/interface/host_interface.h"
#include "module/temporal/smoothed_levels.h"

namespace tintwell {

/// Needs the sequence's frame cache. The output may be null, which is found only when there is
/// something to write. On an error it keeps whatever was written so far. Throws std::bad_alloc with
/// everything it made released.
ErrorCode renderFrame(const RenderRequest& request, EffectWorld* output);

} // namespace tintwell
