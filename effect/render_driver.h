#pragma once

// One output frame: split the input into planes, find its levels, apply them, merge, blend.

#include "analysis/correction_mode.h"
#include "effect/controls.h"
#include "effect/host_interface.h"

namespace tintwell {

/// What a render works on; the records belong to the host and outlive it.
struct RenderRequest {
    const InData& inData;
    ParamDef* const* params; ///< 0 to 6, none missing
    EffectWorld* output;
    ControlValues controls;
    AutoCorrectionMode mode = AutoCorrectionMode::ColorSearch;
};

/// Needs the sequence's frame cache. On an error the output keeps whatever was written so far.
/// Throws std::bad_alloc with everything it made released.
ErrorCode renderFrame(const RenderRequest& request);

} // namespace tintwell
