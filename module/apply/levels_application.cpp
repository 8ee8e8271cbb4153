#include "module/apply/levels_application.h"

#include "module/apply/levels_tables.h"
#include "module/kernels/kernels.h"

namespace tintwell {
namespace {

const std::uint8_t* samplesOf(const LevelsTable& table, std::uint8_t /*sample type*/) {
    return table.table8.data();
}

const std::uint16_t* samplesOf(const LevelsTable& table, std::uint16_t /*sample type*/) {
    return table.table16.data();
}

template <class Sample>
void lookUpPlanes(const PlanarImage& image, const std::array<LevelsTable, 4>& tables) {
    for (int plane = 1; plane <= kColorPlanes; ++plane) {
        const Sample* table = samplesOf(tables[static_cast<std::size_t>(plane)], Sample{});
        for (std::int32_t y = 0; y < rowCount(image); ++y) {
            Sample* row = planeRow<Sample>(image, plane, y);
            kernels::kernelsFor<Sample>().lookUp(row, rowSamples(image), table, row);
        }
    }
}

} // namespace

void applyLevels(const PlanarImage& image, const LevelsRecord& levels) {
    const bool deep = image.bitDepth == 16;
    if (!deep && image.bitDepth != 8) {
        return;
    }
    std::array<LevelsTable, 4> tables = {LevelsTable(deep), LevelsTable(deep), LevelsTable(deep),
                                         LevelsTable(deep)};
    buildChannelTables(levels, tables);
    if (deep) {
        lookUpPlanes<std::uint16_t>(image, tables);
    } else {
        lookUpPlanes<std::uint8_t>(image, tables);
    }
}

} // namespace tintwell
