#pragma once

#include "scenery.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tintwell::bench {

inline constexpr std::size_t kClipWidth = 320;
inline constexpr std::size_t kClipHeight = 180;
inline constexpr double kFrameRate = 25.0;

/// What a channel's light does: level = gain * level + offset.
struct ChannelLight {
    double gain = 1.0;
    double offset = 0.0;
};

using Light = std::array<ChannelLight, 3>;

/// A clip with a known truth.
struct ClipDefinition {
    std::string name;
    std::string description;
    std::size_t frames = 250;
    /// The scene as it should stay: fades, flashes and slow light belong to it.
    std::function<Picture(std::size_t)> truth;
    /// What comes between the scene and the clip.
    std::function<Light(std::size_t)> flicker;
    double grain = 0.0;            ///< deviation, in levels
    double compression = 0.0;      ///< step of the coefficients of blocks, in levels
    std::vector<std::size_t> cuts; ///< frames that begin a shot
};

/// The clip's frame: the truth under its light, with grain, in whole levels.
Picture clipFrame(const ClipDefinition& clip, std::size_t frame, const Picture& truth);

std::vector<ClipDefinition> allClips();

/// A long clip of short shots of alike sceneries under flicker of 10 %.
ClipDefinition cutsClip(std::uint32_t seed, std::size_t shots);

} // namespace tintwell::bench
