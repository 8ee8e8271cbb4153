#pragma once

// One output frame: split the input into planes, find its levels, apply them, merge, blend.

#include "module/analysis/channel_histogram.h"
#include "module/analysis/correction_mode.h"
#include "module/apply/levels_record.h"
#include "module/interface/host_interface.h"
#include "module/services/control_values.h"
#include "module/temporal/neighbour_frames.h"

#include <memory>

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

// The steps of renderFrame, for those who want to see what it would do.

/// A draft is never smoothed, whatever the control says.
bool isSmoothed(const RenderRequest& request);

/// Smooths the levels that the analysis of the current frame found over its neighbours. Those that
/// the sequence's cache does not hold are read from the host, and kept there as the frame itself
/// is: its fingerprint moves there.
ErrorCode smoothLevels(const RenderRequest& request, FrameAnalysis& analysis);

/// Writes the input into the output, corrected with these levels and blended.
ErrorCode correctFrame(const RenderRequest& request, const LevelsRecord& levels);

} // namespace tintwell
