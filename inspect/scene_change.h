#pragma once

#include "module/apply/levels_record.h"
#include "module/counting/channel_histogram.h"

namespace tintwell::inspect {

/// How far apart two frames are once each is corrected: the mean distance, in levels of 255, by
/// which the pixels of the one would have to move to have the other's histogram, in the channel
/// where it is greatest. Frames of one scene under changing light are near each other, which the
/// distance of their histograms as they are does not tell.
double correctedDistance(const ChannelHistogram& previous, const LevelsRecord& previousLevels,
                         const ChannelHistogram& current, const LevelsRecord& currentLevels);

/// From here on two frames show different scenes.
inline constexpr double kOtherScene = 12.0;

} // namespace tintwell::inspect
