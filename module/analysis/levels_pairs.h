#pragma once

#include <array>
#include <cstdint>

namespace tintwell {

/// One end of a levels line, both levels 0..255.
struct LevelsPair {
    std::uint16_t input;
    std::uint16_t output;

    bool operator==(const LevelsPair&) const = default;
};

/// What a search finds, per channel: index 0 is the combined channel, 1 to 3 red, green, blue.
struct LevelsPairs {
    std::array<LevelsPair, 4> black{{{0, 0}, {0, 0}, {0, 0}, {0, 0}}};
    std::array<LevelsPair, 4> white{{{255, 255}, {255, 255}, {255, 255}, {255, 255}}};

    bool operator==(const LevelsPairs&) const = default;
};

/// Gammas times 100, indexed like the pairs.
using Gammas = std::array<std::uint16_t, 4>;
inline constexpr Gammas kNeutralGammas = {100, 100, 100, 100};

} // namespace tintwell
