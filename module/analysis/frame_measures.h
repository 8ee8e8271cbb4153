#pragma once

// One walk over a frame's pixels for all that is asked of them: a frame is read from memory once,
// and its rows stay in the nearest caches.

#include "module/analysis/tone_colors.h"
#include "module/counting/analysis_key.h"
#include "module/counting/channel_histogram.h"

namespace tintwell {

/// What is to be found; what is null is not asked for.
struct FrameMeasures {
    ChannelHistogram* histogram = nullptr; ///< as gatherHistogram gathers it for the mode
    ToneSearchContext* tones = nullptr;    ///< as findToneColors leaves it; of these pixels
    KeyHash* key = nullptr;                ///< of these pixels
};

void measureFrame(const PixelView& pixels, AutoCorrectionMode mode, const FrameMeasures& wanted);

} // namespace tintwell
