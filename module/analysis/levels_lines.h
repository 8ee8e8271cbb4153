#pragma once

#include "module/analysis/clip_points.h"
#include "module/analysis/levels_pairs.h"
#include "module/analysis/tone_colors.h"

#include <array>

namespace tintwell {

/// Smallest distance of a channel's input black and input white, and of the clip points that are
/// worth a search.
inline constexpr int kMinimumInputSpan = 4;

/// Two points of a line in the square of input and output levels, 0..255 each.
struct LevelsLine {
    double inputBlack;
    double outputBlack;
    double inputWhite;
    double outputWhite;
};

/// Output levels that black and white are sent to, per channel.
struct OutputTargets {
    Rgb black;
    Rgb white;
};

/// Moves the two points along their line to where it leaves the square; each end keeps its role.
void extendLevelsLine(LevelsLine& line);

/// Writes the pairs of all channels. `minimumSpan` widens inputs that come out closer together.
void solveLevelsLines(LevelsPairs& pairs, const ToneSearchContext& context,
                      const std::array<ClipPoints, 3>& clipPoints, const OutputTargets& targets,
                      int minimumSpan);

} // namespace tintwell
