#pragma once

#include "steady/observation.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace tintwell::steady {

/// How many frames on either side decide on what a frame's place is.
inline constexpr std::size_t kSceneContext = 96;

/// A frame in a cross-fade.
struct CrossFade {
    std::size_t middle; ///< the frame that begins the later scene
    double share;       ///< of the later scene, 0..1
};

/// A frame's place in its scene.
struct ScenePlace {
    bool startsScene = false;
    /// Its levels are those of the scene: it is not part of an interruption or a fade.
    bool counts = true;
    /// How the light came from the frame before; none where that is not known, or not to be
    /// followed, and the light counts as unchanged.
    const std::array<LightEstimate, 3>* light = nullptr;
    std::optional<CrossFade> crossFade;
};

/// The places of all frames; they point into the facts. The first frame starts a scene.
std::vector<ScenePlace> scenePlaces(std::span<const FrameFacts> frames);

} // namespace tintwell::steady
