#pragma once

// Measures what the host hands out: the input layer at the time of a frame, the one being rendered
// or another. Whatever is checked out is checked in before a call returns, on every path.

#include "module/analysis/analyzed_frame.h"
#include "module/apply/levels_record.h"
#include "module/frame/correction_mode.h"
#include "module/interface/host_interface.h"
#include "module/services/control_values.h"
#include "module/temporal/frame_cache.h"

#include <cstdint>
#include <memory>

namespace tintwell {

/// Time at which the host holds a frame: index times step, where a step of 0 counts as 1.
std::int32_t timeOfFrame(const InData& inData, std::int32_t frame);

/// The pixels of a world, as the analysis reads them.
PixelView pixelsOf(const InData& inData, const EffectWorld& world);

/// What was found of a frame.
struct FrameAnalysis {
    std::unique_ptr<LevelsRecord> levels;
    std::unique_ptr<ChannelHistogram> fingerprint;
    AnalysisSource source;
};

/// How frames are measured, and what their keys are made with (or null).
struct Measuring {
    AutoCorrectionMode mode;
    const KeySecret* secret;
};

/// The key of pixels that nothing else is asked of.
AnalysisKey keyOf(const PixelView& pixels, const Measuring& measuring);

/// Makes the fingerprint that of the input layer at a time. Where it is that already, it costs a
/// look at its key only; a fingerprint that is no frame's, or unlikely this one's, is cleared
/// before.
ErrorCode readFingerprint(const InData& inData, std::int32_t time, const Measuring& measuring,
                          KeyedFingerprint& fingerprint);

/// Finds the levels of the input layer at a time as of a frame that is looked at for its
/// neighbours' sake, with the control values in force at that time. An empty fingerprint slot is
/// filled, with `known` (which may be null) where it is the frame's; a filled one is what the
/// levels are found from.
ErrorCode analyzeInput(const InData& inData, std::int32_t time, const Measuring& measuring,
                       const KeyedFingerprint* known, FrameAnalysis& analysis);

} // namespace tintwell
