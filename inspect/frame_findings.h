#pragma once

#include "module/analysis/clip_points.h"
#include "module/apply/levels_record.h"
#include "module/counting/channel_histogram.h"
#include "module/services/control_values.h"
#include "module/temporal/frame_cache.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace tintwell::inspect {

/// What the correction of one frame is and what it was found from. Entries 1, 2 and 3 of the levels
/// are red, green and blue; the composite entry is neutral.
struct FrameFindings {
    std::int64_t frame = 0; ///< index in the clip, from 0
    double seconds = 0.0;   ///< when it is shown, as the clip's timestamps say
    ControlValues controls; ///< in force at this frame
    ChannelHistogram histogram;
    std::array<ClipPoints, 3> clipPoints{}; ///< red, green, blue
    LevelsRecord found;                     ///< by the frame alone
    LevelsRecord smoothed;                  ///< what a render applies; as found without smoothing
    std::vector<LevelsRecord> trials;       ///< the same with each smoothing that is tried
    /// Scene cut distances, 0..1 a channel; none where the clip ends.
    std::optional<NeighbourWeights> fromPrevious;
    std::optional<NeighbourWeights> toNext;
    /// What Scene Detect takes for a cut before this frame shows another scene, not other light.
    bool startsScene = false;
};

/// The distance that decides on a cut: that of the channel that changes most.
double greatestOf(const NeighbourWeights& distance);

/// Whether Scene Detect sees a cut between this frame and the one before it.
bool cutBefore(const FrameFindings& findings);

} // namespace tintwell::inspect
