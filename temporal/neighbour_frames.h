#pragma once

// Reads frames other than the one being rendered from the host: the input layer at the frame's
// time. Whatever is checked out is checked in before a call returns, on every path.

#include "analysis/channel_histogram.h"
#include "analysis/correction_mode.h"
#include "apply/levels_record.h"
#include "effect/controls.h"
#include "effect/host_interface.h"

#include <cstdint>
#include <memory>

namespace tintwell {

/// Time at which the host holds a frame: index times step, where a step of 0 counts as 1.
std::int32_t timeOfFrame(const InData& inData, std::int32_t frame);

/// Counts the fingerprint of the input layer at a time from its interleaved pixels.
ErrorCode readFingerprint(const InData& inData, std::int32_t time, AutoCorrectionMode mode,
                          ChannelHistogram& fingerprint);

/// Finds the levels of a frame's pixels, as a frame that is looked at for its neighbours' sake. The
/// slots are as in analyzeInput.
ErrorCode analyzeWorld(const InData& inData, const EffectWorld& world,
                       const AnalysisControls& controls, AutoCorrectionMode mode,
                       std::unique_ptr<LevelsRecord>& levels,
                       std::unique_ptr<ChannelHistogram>& fingerprint);

/// Finds the levels of the input layer at a time, with the control values in force at that time.
/// An empty fingerprint slot is filled; a filled one is what the levels are found from.
ErrorCode analyzeInput(const InData& inData, std::int32_t time, AutoCorrectionMode mode,
                       std::unique_ptr<LevelsRecord>& levels,
                       std::unique_ptr<ChannelHistogram>& fingerprint);

} // namespace tintwell
