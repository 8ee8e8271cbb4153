#pragma once

#include "steady/texture.h"

#include <array>
#include <optional>

namespace tintwell::steady {

/// What light does to the levels of a channel: level = gain * former level + offset.
struct LightMap {
    double gain = 1.0;
    double offset = 0.0;

    double of(double level) const { return gain * level + offset; }

    bool operator==(const LightMap&) const = default;
};

/// First `former`, then `later`.
inline LightMap composed(const LightMap& later, const LightMap& former) {
    return {later.gain * former.gain, later.of(former.offset)};
}

inline LightMap inverse(const LightMap& map) {
    return {1.0 / map.gain, -map.offset / map.gain};
}

/// An estimate of a light map and how far it may be off: the error's variance in the level
/// `pivot`, and independently of it in the gain.
struct LightEstimate {
    LightMap map;
    double pivot = 128.0;
    double pivotVariance = 0.0;
    double gainVariance = 0.0;
};

/// A frame in small, made ready for being laid on others.
struct CoarsePicture {
    explicit CoarsePicture(const BlockPicture& picture);

    std::array<Plane, 3> levels;
    std::array<Plane, 3> clipped;
    Plane grey;
    Plane texture; ///< of the grey
};

/// How a frame follows from another one.
struct LightChange {
    /// How well the textures agree once they are laid on each other, 0..1: over the half of the
    /// picture that agrees best, so that things which move or cover do not matter. None where
    /// either frame has too little texture to tell.
    std::optional<double> likeness;
    Motion motion;
    /// The root of the mean square by which the coarse pictures differ as they are, in levels.
    double difference = 0.0;
    std::array<LightEstimate, 3> light; ///< red, green, blue; of worth where the frames are alike
};

/// From here on frames show the same scene.
inline constexpr double kSameScene = 0.65;

/// Lays both pictures on each other (shift, zoom and turn, up to a quarter of the frame), and fits
/// the change of light between them. Blocks that do not follow count little or not at all.
LightChange lightChange(const CoarsePicture& from, const CoarsePicture& to);

} // namespace tintwell::steady
