#include "plugins/core/level_curve.h"

#include <algorithm>

namespace tintwell::plugins {

LevelCurve::LevelCurve(const LevelsTable& table) {
    std::ranges::transform(table.table16, outputs_.begin(),
                           [](std::uint16_t sample) { return sample / 32768.0; });
}

} // namespace tintwell::plugins
