#pragma once

#include "module/apply/levels_tables.h"
#include "steady/real_levels.h"

#include <array>

namespace tintwell::steady {

/// Writes the table of one line as the effect makes its tables, each entry rounded once, to the
/// nearest: levels at and below black become 0, at and above white the greatest sample, and the
/// gamma is the effect's own curve, between two of its steps of 1/100 a mixture of both. A white
/// that is not at least a level above black is taken for one that is. Throws std::bad_alloc.
void buildRealTable(const RealLine& line, LevelsTable& table);

/// The tables of the effect for some levels: the first stays neutral, red, green and blue follow.
/// `deep` for 16-bit samples. Throws std::bad_alloc.
std::array<LevelsTable, 4> realTables(const RealLevels& levels, bool deep);

} // namespace tintwell::steady
