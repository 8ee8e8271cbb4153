#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tintwell {

/// A levels correction of one channel. Levels are 0..255 at every sample depth.
struct LevelsEntry {
    std::uint16_t inputBlack = 0;    ///< at and below it the output is outputBlack
    std::uint16_t inputWhite = 255;  ///< at and above it the output is outputWhite
    std::uint16_t outputBlack = 0;   ///< may lie above outputWhite: a falling line
    std::uint16_t outputWhite = 255; ///< output at inputWhite
    std::uint16_t gamma = 100;       ///< gamma times 100; above 100 brightens the midtones

    bool operator==(const LevelsEntry&) const = default;
};

/// The correction of one frame: entry 0 is the composite, applied to every colour channel; entries
/// 1, 2 and 3 are red, green and blue; entries 4 to 7 are carried along and never applied. A new
/// record is neutral: it changes nothing.
struct LevelsRecord {
    std::array<LevelsEntry, 8> entries;

    bool operator==(const LevelsRecord&) const = default;
};

static_assert(sizeof(LevelsEntry) == 10);
static_assert(sizeof(LevelsRecord) == 80);

} // namespace tintwell
