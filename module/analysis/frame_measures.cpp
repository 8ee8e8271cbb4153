#include "module/analysis/frame_measures.h"

#include "module/counting/level_rows.h"

#include <optional>

namespace tintwell {

void measureFrame(const PixelView& pixels, AutoCorrectionMode mode, const FrameMeasures& wanted) {
    std::optional<ColorCounter> counter;
    if (wanted.histogram != nullptr && countsColors(pixels, mode)) {
        counter.emplace();
    } else if (wanted.histogram != nullptr) {
        gatherHistogram(*wanted.histogram, pixels, combinesColors(mode), mode);
    }
    std::optional<ToneSearch> tones;
    if (wanted.tones != nullptr && !wanted.tones->searched && hasKnownDepth(pixels)) {
        tones.emplace(pixels);
    }
    const auto addToKey = [&](std::int32_t y, std::int32_t rows) {
        for (std::int32_t row = y; wanted.key != nullptr && row < y + rows; ++row) {
            wanted.key->addRow(row);
        }
    };
    if (!counter && !tones) {
        addToKey(0, pixels.rows);
        return;
    }
    LevelRows levels(pixels);
    forEachBand(levels, addToKey, [&](const kernels::ColorRow& band, std::size_t count) {
        if (counter) {
            counter->add(band, count, levels.nextRow(), static_cast<std::size_t>(pixels.pixelStep));
        }
        if (tones) {
            tones->add(band, levels.countedPixels(), count);
        }
    });
    if (counter) {
        counter->writeTo(*wanted.histogram, combinesColors(mode));
    }
    if (tones) {
        tones->finish(*wanted.tones);
    }
}

} // namespace tintwell
