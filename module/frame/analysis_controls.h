#pragma once

#include <cstdint>

namespace tintwell {

/// The control values that a frame's levels depend on.
struct AnalysisControls {
    std::int32_t blackClip = 0; ///< hundredths of a percent
    std::int32_t whiteClip = 0; ///< hundredths of a percent
    std::int32_t snapNeutralMidtones = 0;

    bool operator==(const AnalysisControls&) const = default;
};

} // namespace tintwell
