#pragma once

#include "module/apply/levels_record.h"

#include <array>
#include <cstdint>

namespace tintwell::inspect {

/// What levels turn each of the 256 levels into: red, green, blue.
using LevelCurves = std::array<std::array<std::uint8_t, 256>, 3>;

/// The tables that the effect looks 8-bit pixels up in.
LevelCurves curvesOf(const LevelsRecord& levels);

} // namespace tintwell::inspect
