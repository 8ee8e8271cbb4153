#pragma once

// Keeps levels steady over time with the module's own smoothing, from what was found of each frame
// of a window by itself.

#include "module/services/control_values.h"
#include "plugins/core/findings_store.h"

#include <cstdint>

namespace tintwell::plugins {

/// Frames a second as the module counts them: timeScale / timeStep.
struct FrameRate {
    std::uint32_t timeScale = 25;
    std::int32_t timeStep = 1;
};

/// The fraction that a host's number stands for: 23.976 is 24000/1001. Below 1/1000 and above 1000
/// the nearest of both; 25 for what is no rate.
FrameRate frameRateOf(double framesPerSecond);

/// How many frames a window of this duration has on each side. 0 without smoothing.
std::int64_t windowReach(const FrameRate& rate, double seconds);

/// The frames around the one that is corrected.
class Neighbours {
public:
    virtual ~Neighbours() = default;

    /// What was found of a frame by itself with the controls in force there; null where the clip
    /// has no such frame: it ends before it. What it throws passes through.
    virtual SharedFinding at(std::int64_t frame) = 0;
};

/// What is smoothed.
struct SteadyRequest {
    std::int64_t frame = 0;
    FrameRate rate;
    double seconds = 0.0; ///< of the window; 0.0 is no smoothing
    bool sceneDetect = false;
};

/// The levels of a frame, of which `own` was found, smoothed over its neighbours. They are asked
/// for from the nearest outward, and no further than the window goes, or to a cut. Throws
/// std::bad_alloc.
LevelsRecord steadyLevels(const FrameFinding& own, const SteadyRequest& request,
                          Neighbours& neighbours);

} // namespace tintwell::plugins
