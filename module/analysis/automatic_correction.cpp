#include "module/analysis/automatic_correction.h"

#include "module/analysis/contrast_search.h"
#include "module/analysis/level_image.h"
#include "module/analysis/levels_pairs.h"
#include "module/analysis/tone_search.h"

#include <optional>

namespace tintwell {
namespace {

void writeEnds(LevelsEntry& entry, const LevelsPair& black, const LevelsPair& white) {
    entry.inputBlack = black.input;
    entry.inputWhite = white.input;
    entry.outputBlack = black.output;
    entry.outputWhite = white.output;
}

void writeEntries(LevelsRecord& levels, const LevelsPairs& pairs, const Gammas& gammas) {
    for (std::size_t c = 0; c < gammas.size(); ++c) {
        writeEnds(levels.entries[c], pairs.black[c], pairs.white[c]);
        levels.entries[c].gamma = gammas[c];
    }
}

} // namespace

void analyzeFrame(AutoCorrectionMode mode, const PlanarImage& source, SpareMemory* spares,
                  std::unique_ptr<LevelsRecord>& levels,
                  std::unique_ptr<ChannelHistogram>& histogram) {
    // The luminance is weighed from the samples themselves.
    const bool needsSamples = mode == AutoCorrectionMode::MonochromaticContrast;
    std::optional<LevelImage> converted;
    if (source.bitDepth == 16 && !needsSamples && (!levels || !histogram)) {
        converted.emplace(source, spares);
    }
    const PlanarImage& image = converted ? converted->image() : source;
    if (!histogram) {
        histogram = std::make_unique<ChannelHistogram>();
        gatherHistogram(*histogram, viewOfPlanes(image), combinesColors(mode), mode);
    }
    if (!levels) {
        levels = std::make_unique<LevelsRecord>();
        computeAutoLevels(mode, *levels, *histogram, 0, image, spares);
    }
}

void computeAutoLevels(AutoCorrectionMode mode, LevelsRecord& levels,
                       const ChannelHistogram& histogram, std::size_t entryIndex,
                       const PlanarImage& image, SpareMemory* spares) {
    LevelsPairs pairs;
    Gammas gammas = kNeutralGammas;
    switch (mode) {
    case AutoCorrectionMode::ColorSearch:
        findToneLevels(pairs, gammas, histogram, image, spares);
        writeEntries(levels, pairs, gammas);
        break;
    case AutoCorrectionMode::MonochromaticContrast:
        findMonochromaticContrast(pairs, histogram, image);
        writeEnds(levels.entries.at(entryIndex), pairs.black[0], pairs.white[0]);
        break;
    case AutoCorrectionMode::PerChannelContrast:
        findPerChannelContrast(pairs, histogram, image);
        writeEntries(levels, pairs, gammas);
        break;
    }
}

} // namespace tintwell
