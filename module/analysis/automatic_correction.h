#pragma once

// The doorway into the analysis: from one frame to its histogram and its levels.

#include "module/analysis/channel_histogram.h"
#include "module/analysis/correction_mode.h"
#include "module/apply/levels_record.h"
#include "module/frame/frame_memory.h"
#include "module/frame/planar_image.h"

#include <memory>

namespace tintwell {

/// Fills the slots that are empty: the histogram is gathered from the image, the levels are found
/// from the histogram in its slot with the image's clips and snap flag. A slot that holds a record
/// keeps it untouched. The caller owns both. `spares`, for what is made on the way, may be null.
/// Throws std::bad_alloc.
void analyzeFrame(AutoCorrectionMode mode, const PlanarImage& source, SpareMemory* spares,
                  std::unique_ptr<LevelsRecord>& levels,
                  std::unique_ptr<ChannelHistogram>& histogram);

/// Writes what the mode finds into `levels`. `entryIndex`, 0..7, is where the monochromatic mode
/// writes its single entry; the other modes do not use it.
void computeAutoLevels(AutoCorrectionMode mode, LevelsRecord& levels,
                       const ChannelHistogram& histogram, std::size_t entryIndex,
                       const PlanarImage& image, SpareMemory* spares);

} // namespace tintwell
