#pragma once

#include "module/temporal/neighbour_frames.h"

namespace tintwell {

/// A frame that is rendered; the records belong to the host and outlive it.
struct RenderRequest {
    const InData& inData;
    ParamDef* const* params; ///< 0 to 6, none missing
    ControlValues controls;
    AutoCorrectionMode mode = AutoCorrectionMode::ColorSearch;
};

/// A draft is never smoothed, whatever the control says.
bool isSmoothed(const RenderRequest& request);

/// The entry of the current frame in the sequence's cache, or null.
FrameCacheEntry* currentCacheEntry(const InData& inData);

/// Smooths the levels that the analysis of the current frame found over its neighbours. Those that
/// the sequence's cache does not hold are read from the host, and kept there as the frame itself
/// is: its fingerprint moves there.
ErrorCode smoothLevels(const RenderRequest& request, FrameAnalysis& analysis);

} // namespace tintwell
