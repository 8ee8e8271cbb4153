#pragma once

#include "steady/observation.h"

#include <span>
#include <vector>

namespace tintwell::steady {

/// A frame's place in its scene.
struct ScenePlace {
    bool startsScene = false;
    /// Its levels are those of the scene: it is not part of an interruption or of a fade.
    bool counts = true;
    /// How the light came from the frame before; none where that is not known, or not to be
    /// followed, and the light counts as unchanged.
    const std::array<LightEstimate, 3>* light = nullptr;
};

/// The places of all frames; they point into the facts. The first frame starts a scene.
std::vector<ScenePlace> scenePlaces(std::span<const FrameFacts> frames);

} // namespace tintwell::steady
