#pragma once

#include "module/analysis/tone_colors.h"
#include "module/apply/levels_record.h"
#include "module/counting/channel_histogram.h"

#include <array>
#include <optional>

namespace tintwell::steady {

/// The correction of one channel: a straight line through the input levels that become black and
/// white, which may lie outside of 0..255, and a gamma (1 for none, above 1 brightens midtones).
struct RealLine {
    double black = 0.0;
    double white = 255.0;
    double gamma = 1.0;

    bool operator==(const RealLine&) const = default;
};

/// Red, green, blue.
using RealLevels = std::array<RealLine, 3>;

/// The colour search of the effect in real numbers: the clip points lie between whole levels too,
/// and the ends of the lines are not rounded. The gammas are those of `found`, the record that the
/// effect finds for the same frame. None where the frame has too little range for a search, or a
/// line does not rise. The context is searched if it was not. Throws std::bad_alloc.
std::optional<RealLevels> findRealLevels(const ChannelHistogram& histogram,
                                         const LevelsRecord& found, ToneSearchContext& context);

/// The level below which the share (0..1) of the counted pixels lies, each level's pixels being
/// spread evenly around it. 0 for no pixels.
double levelAtShare(const LevelCounts& counts, double share);

} // namespace tintwell::steady
