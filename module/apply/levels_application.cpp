#include "module/apply/levels_application.h"

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

LevelsApplication::LevelsApplication(const LevelsRecord& levels, int bitDepth)
    : bitDepth_(bitDepth), tables_{LevelsTable(bitDepth == 16), LevelsTable(bitDepth == 16),
                                   LevelsTable(bitDepth == 16), LevelsTable(bitDepth == 16)} {
    buildChannelTables(levels, tables_);
}

void LevelsApplication::applyTo(const PlanarImage& image) const {
    if (image.bitDepth != bitDepth_) {
        return;
    }
    if (bitDepth_ == 16) {
        lookUpPlanes<std::uint16_t>(image, tables_);
    } else if (bitDepth_ == 8) {
        lookUpPlanes<std::uint8_t>(image, tables_);
    }
}

} // namespace tintwell
