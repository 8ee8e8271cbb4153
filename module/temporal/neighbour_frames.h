#pragma once

// Reads frames other than the one being rendered from the host: the input layer at the frame's
// time. Whatever is checked out is checked in before a call returns, on every path.

#include "module/analysis/correction_mode.h"
#include "module/apply/levels_record.h"
#include "module/interface/host_interface.h"
#include "module/services/control_values.h"
#include "module/temporal/frame_cache.h"

#include <cstdint>
#include <memory>

namespace tintwell {

/// Time at which the host holds a frame: index times step, where a step of 0 counts as 1.
std::int32_t timeOfFrame(const InData& inData, std::int32_t frame);

/// What was found of a frame.
struct FrameAnalysis {
    std::unique_ptr<LevelsRecord> levels;
    std::unique_ptr<ChannelHistogram> fingerprint;
    AnalysisSource source;
};

/// Makes the fingerprint that of the input layer at a time, counted from its interleaved pixels
/// unless it is theirs already.
ErrorCode readFingerprint(const InData& inData, std::int32_t time, AutoCorrectionMode mode,
                          KeyedFingerprint& fingerprint);

/// Finds the levels of a frame's pixels, as a frame that is looked at for its neighbours' sake. An
/// empty fingerprint slot is filled, with `known` where it is the frame's; a filled one is what the
/// levels are found from.
ErrorCode analyzeWorld(const InData& inData, const EffectWorld& world,
                       const AnalysisControls& controls, AutoCorrectionMode mode,
                       const KeyedFingerprint& known, FrameAnalysis& analysis);

/// The same of the input layer at a time, with the control values in force at that time.
ErrorCode analyzeInput(const InData& inData, std::int32_t time, AutoCorrectionMode mode,
                       const KeyedFingerprint& known, FrameAnalysis& analysis);

} // namespace tintwell
