#include "inspect/level_curves.h"

#include "module/apply/levels_tables.h"

namespace tintwell::inspect {

LevelCurves curvesOf(const LevelsRecord& levels) {
    std::array<LevelsTable, 4> tables{LevelsTable(false), LevelsTable(false), LevelsTable(false),
                                      LevelsTable(false)};
    buildChannelTables(levels, tables);
    return {tables[1].table8, tables[2].table8, tables[3].table8};
}

} // namespace tintwell::inspect
