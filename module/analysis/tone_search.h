#pragma once

// The colour search: levels from a frame's shadows, midtones and highlights.

#include "module/analysis/levels_pairs.h"
#include "module/analysis/tone_colors.h"
#include "module/counting/channel_histogram.h"

namespace tintwell {

/// Writes pairs and gammas of all channels with the clips and the snap flag of the context's frame.
/// A frame of too little range gets neutral ones. The context may have been searched before.
void findToneLevels(LevelsPairs& pairs, Gammas& gammas, const ChannelHistogram& histogram,
                    ToneSearchContext& context);

} // namespace tintwell
