#pragma once

// The colour search: levels from an image's shadows, midtones and highlights.

#include "module/analysis/channel_histogram.h"
#include "module/analysis/levels_pairs.h"
#include "module/frame/frame_memory.h"

namespace tintwell {

/// Writes pairs and gammas of all channels with the image's clips and snap flag. An image of too
/// little range gets neutral ones.
void findToneLevels(LevelsPairs& pairs, Gammas& gammas, const ChannelHistogram& histogram,
                    const PlanarImage& image, SpareMemory* spares);

} // namespace tintwell
