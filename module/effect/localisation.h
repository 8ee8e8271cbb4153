#pragma once

#include "module/interface/host_interface.h"

#include <cstdint>

namespace tintwell {

/// Indices of the module's texts in its string table.
enum class Text : std::int32_t {
    About = 0,
    EffectName = 1,
    TemporalSmoothing = 2,
    SceneDetect = 3,
    BlackClip = 4,
    WhiteClip = 5,
    SnapNeutralMidtones = 6,
    BlendWithOriginal = 7,
};

inline constexpr std::int32_t kStringTableId = 4215;

/// The module's string table, as the host takes it for registration; lives as long as the module.
const StringTableDescriptor& stringTableDescriptor();

} // namespace tintwell
