#pragma once

// Lookup tables from levels. A LevelsRecord becomes one table per plane before pixels are touched,
// so that curves and rounding cost nothing per pixel. 8-bit samples look up 256 entries; 16-bit
// samples look up 4097 entries, entry i standing for the sample 8 * i. The composite entry is
// folded into the colour tables: merged into their entries where one curve can say both, composed
// after them otherwise.

#include "module/apply/levels_record.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tintwell {

/// A straight ramp between two points, levels 0..255.
struct LevelsRamp {
    int inputBlack;
    int inputWhite;
    int outputBlack;
    int outputWhite;
};

struct LevelsTable {
    static constexpr std::size_t kDeepSize = 4097;

    explicit LevelsTable(bool hasDeep);

    std::uint32_t stamp = 0; ///< a new value at every rebuild, unique in the process
    bool isIdentity = false; ///< only when buildGammaCurve has just built the identity
    bool hasDeep;            ///< whether the table serves 16-bit images
    std::array<std::uint8_t, 256> table8{};
    std::vector<std::uint16_t> table16; ///< kDeepSize entries when hasDeep, else none
};

/// Entry of table16 that stands for an 8-bit level.
constexpr int deepIndex(int level) {
    return (level * 257 + 8) >> 4;
}

/// 16-bit sample of an 8-bit level.
constexpr int deepSample(int level) {
    return (level * 257 + 1) >> 1;
}

/// Sets the outputs of the input levels from..to to one level; nothing when to < from.
void fillLevelsRange(LevelsTable& table, int from, int to, int level);

/// Sets the outputs between the ramp's two inputs, both included; others keep what they have.
void buildLinearLevels(LevelsTable& table, const LevelsRamp& ramp);

/// The same with a gamma, for example 1.23.
void buildGammaLevels(LevelsTable& table, const LevelsRamp& ramp, double gamma);

/// The gamma curve over the full range; gamma100 is the gamma times 100.
void buildGammaCurve(LevelsTable& table, std::int16_t gamma100);

/// target = composite after source; target and source may be the same table. The last entry of
/// table16 keeps its value: white is not composed.
void composeLevelsTables(LevelsTable& target, const LevelsTable& source,
                         const LevelsTable& composite);

/// Colour channels of an image-mode code: 1, 3 or 4, and 0 for an unknown code.
int channelCountForMode(int mode);

/// Fills the four tables, composite first. They exist already, with hasDeep as the image needs.
/// Levels above 255 in the record count as 255.
void buildChannelTables(const LevelsRecord& levels, std::array<LevelsTable, 4>& tables);

} // namespace tintwell
