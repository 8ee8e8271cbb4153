#include "inspect/scene_change.h"

#include "inspect/level_curves.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tintwell::inspect {
namespace {

using Shares = std::array<double, 256>;

/// Which share of the channel's corrected pixels each level has.
Shares correctedShares(const LevelCounts& counts, const std::array<std::uint8_t, 256>& curve) {
    Shares shares{};
    double pixels = 0.0;
    for (std::size_t level = 0; level < counts.size(); ++level) {
        shares[curve[level]] += counts[level];
        pixels += counts[level];
    }
    for (double& share : shares) {
        share /= std::max(pixels, 1.0);
    }
    return shares;
}

double movedLevels(const Shares& from, const Shares& to) {
    double carried = 0.0;
    double moved = 0.0;
    for (std::size_t level = 0; level < from.size(); ++level) {
        carried += from[level] - to[level];
        moved += std::abs(carried);
    }
    return moved;
}

} // namespace

double correctedDistance(const ChannelHistogram& previous, const LevelsRecord& previousLevels,
                         const ChannelHistogram& current, const LevelsRecord& currentLevels) {
    const LevelCurves before = curvesOf(previousLevels);
    const LevelCurves now = curvesOf(currentLevels);
    double greatest = 0.0;
    for (std::size_t c = 0; c < before.size(); ++c) {
        greatest =
            std::max(greatest, movedLevels(correctedShares(previous.channels[c + 1], before[c]),
                                           correctedShares(current.channels[c + 1], now[c])));
    }
    return greatest;
}

} // namespace tintwell::inspect
