#pragma once

#include <array>
#include <cstdint>

namespace tintwell {

using RgbBytes = std::array<std::uint8_t, 3>;

/// What an automatic search is asked for.
struct AutoCorrectionOptions {
    std::uint32_t blackClip = 10; ///< share of the darkest pixels, hundredths of a percent
    std::uint32_t whiteClip = 10; ///< share of the brightest pixels, hundredths of a percent
    RgbBytes shadowColor = {0, 0, 0};
    RgbBytes highlightColor = {255, 255, 255};
    RgbBytes midtoneColor = {128, 128, 128};
    std::uint8_t snapNeutralMidtones = 0;
    std::uint32_t algorithm = 1;
};

/// What the controls do not reach. Never written; every search takes a copy.
inline constexpr AutoCorrectionOptions kDefaultAutoCorrectionOptions{};

inline const AutoCorrectionOptions* defaultAutoCorrectionOptions() {
    return &kDefaultAutoCorrectionOptions;
}

} // namespace tintwell
