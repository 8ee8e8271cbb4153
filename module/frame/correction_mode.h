#pragma once

#include <cstdint>

namespace tintwell {

/// How the levels of a frame are searched. Other values are allowed and leave levels neutral.
enum class AutoCorrectionMode : std::int32_t {
    PerChannelContrast = 1,
    MonochromaticContrast = 2,
    ColorSearch = 3, ///< for shadows, midtones and highlights; the one the effect uses
};

} // namespace tintwell
