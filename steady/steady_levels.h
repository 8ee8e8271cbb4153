#pragma once

#include "steady/scenes.h"

#include <cstddef>
#include <span>
#include <vector>

namespace tintwell::steady {

/// How far a frame's neighbourhood reaches, in times the seconds that are asked for.
inline constexpr double kReach = 3.0;

/// The levels of the frame at `index`, averaged over the frames of its scene that are shown less
/// than `kReach` times `seconds` before or after it, the nearer ones more: half of the weight lies
/// within 0.8 times `seconds`. Depends on no others: frames beyond these, and beyond
/// `kSceneContext` more on either side, change nothing. Frames in order; seconds above 0.
/// Neutral where no frame in reach has levels. Throws std::bad_alloc.
RealLevels steadyLevels(std::span<const FrameFacts> frames, std::size_t index, double seconds);

/// The same for all frames of a clip with one correction for each scene, in which nothing moves but
/// what changes in the light within some seconds.
std::vector<RealLevels> sceneLevels(std::span<const FrameFacts> clip);

/// The indices at which scenes begin, the first frame's included.
std::vector<std::size_t> sceneStarts(std::span<const FrameFacts> frames);

} // namespace tintwell::steady
