#pragma once

#include "steady/scenes.h"

#include <cstddef>
#include <span>
#include <vector>

namespace tintwell::steady {

/// A frame in the neighbourhood of another one, of the same scene.
struct Neighbour {
    std::size_t index;
    double weight;                  ///< by its distance in time, above 0 to 1
    std::array<LightMap, 3> toHere; ///< from its light into that of the frame in the middle
};

/// All frames of the scene of the frame at `index` that are shown less than `seconds` away from
/// `time`, in order, and that frame in any case. The weight falls to half over `seconds` / 2, as a
/// cosine does.
///
/// The changes of light that were measured are followed as far as they are more than errors of
/// measurement: how much gains and offsets vary is taken from the neighbourhood itself, and a
/// change is what is likeliest between that and what was measured. Where they vary no more than
/// errors do, there is no change.
std::vector<Neighbour> neighboursOf(std::span<const FrameFacts> frames,
                                    std::span<const ScenePlace> places, std::size_t index,
                                    double time, double seconds);

} // namespace tintwell::steady
