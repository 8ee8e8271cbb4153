#pragma once

#include "module/analysis/levels_pairs.h"
#include "module/counting/channel_histogram.h"
#include "module/frame/analysis_controls.h"

namespace tintwell {

/// Stretches each colour channel between its own clip points; pairs 1 to 3 are written.
void findPerChannelContrast(LevelsPairs& pairs, const ChannelHistogram& histogram,
                            const AnalysisControls& controls);

/// Stretches between the clip points of the luminance; pair 0 is written.
void findMonochromaticContrast(LevelsPairs& pairs, const ChannelHistogram& histogram,
                               const AnalysisControls& controls);

} // namespace tintwell
