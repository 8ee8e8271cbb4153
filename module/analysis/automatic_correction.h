#pragma once

// The doorway into the analysis: from one frame to its histogram and its levels.

#include "module/analysis/analyzed_frame.h"
#include "module/analysis/tone_colors.h"
#include "module/apply/levels_record.h"
#include "module/counting/channel_histogram.h"
#include "module/frame/correction_mode.h"

#include <memory>

namespace tintwell {

/// Fills the slots that are empty: the histogram is gathered from the frame, the levels are found
/// from the histogram in its slot with the frame's clips and snap flag. A slot that holds a record
/// keeps it untouched. The caller owns both. Throws std::bad_alloc.
void analyzeFrame(AutoCorrectionMode mode, const AnalyzedFrame& frame,
                  std::unique_ptr<LevelsRecord>& levels,
                  std::unique_ptr<ChannelHistogram>& histogram);

/// Whether this mode looks for the colours of shadows and highlights.
bool searchesTones(AutoCorrectionMode mode);

/// Writes what the mode finds into `levels`. `entryIndex`, 0..7, is where the monochromatic mode
/// writes its single entry; the other modes do not use it. The context says which frame; where it
/// was searched already, the pixels are not looked at again but for neutral midtones.
void computeAutoLevels(AutoCorrectionMode mode, LevelsRecord& levels,
                       const ChannelHistogram& histogram, std::size_t entryIndex,
                       ToneSearchContext& context);

} // namespace tintwell
