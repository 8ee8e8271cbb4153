#pragma once

#include "plugins/core/steady_levels.h"
#include "plugins/openfx/properties.h"

#include <cstdint>

namespace tintwell::openfx {

/// The frames from..to, both included.
struct FrameSpan {
    std::int64_t first;
    std::int64_t last;

    bool contains(std::int64_t frame) const { return first <= frame && frame <= last; }
};

/// A host's time as a frame of its clip.
struct FrameTime {
    std::int64_t frame; ///< that is shown at the time
    bool isWhole;       ///< whether the frame begins there, or as good as
};

/// The frame of a time; hosts have times between frames, of fields and of changed speed. Times that
/// no clip reaches, and not-a-number, count as the nearest that might be.
FrameTime frameTimeOf(double time);

/// Where a clip has frames, as its property set says. A range that ends one frame before the
/// current one is taken to be wrong by that; one that is further off says nothing, and the images
/// that are not there tell where the clip ends.
FrameSpan frameSpanOf(const Properties& clip, std::int64_t current);

/// The frame rate of the clip, or else of the instance, or else 25.
plugins::FrameRate frameRateOf(const Properties& clip, const Properties& instance);

} // namespace tintwell::openfx
