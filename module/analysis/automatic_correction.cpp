#include "module/analysis/automatic_correction.h"

#include "module/analysis/contrast_search.h"
#include "module/analysis/frame_measures.h"
#include "module/analysis/levels_pairs.h"
#include "module/analysis/tone_search.h"

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

bool searchesTones(AutoCorrectionMode mode) {
    return mode == AutoCorrectionMode::ColorSearch;
}

void analyzeFrame(AutoCorrectionMode mode, const AnalyzedFrame& frame,
                  std::unique_ptr<LevelsRecord>& levels,
                  std::unique_ptr<ChannelHistogram>& histogram) {
    ToneSearchContext context(frame);
    if (!histogram) {
        histogram = std::make_unique<ChannelHistogram>();
        const bool tonesToo = !levels && searchesTones(mode);
        measureFrame(frame.pixels, mode,
                     {.histogram = histogram.get(), .tones = tonesToo ? &context : nullptr});
    }
    if (!levels) {
        levels = std::make_unique<LevelsRecord>();
        computeAutoLevels(mode, *levels, *histogram, 0, context);
    }
}

void computeAutoLevels(AutoCorrectionMode mode, LevelsRecord& levels,
                       const ChannelHistogram& histogram, std::size_t entryIndex,
                       ToneSearchContext& context) {
    LevelsPairs pairs;
    Gammas gammas = kNeutralGammas;
    switch (mode) {
    case AutoCorrectionMode::ColorSearch:
        findToneLevels(pairs, gammas, histogram, context);
        writeEntries(levels, pairs, gammas);
        break;
    case AutoCorrectionMode::MonochromaticContrast:
        findMonochromaticContrast(pairs, histogram, context.frame.controls);
        writeEnds(levels.entries.at(entryIndex), pairs.black[0], pairs.white[0]);
        break;
    case AutoCorrectionMode::PerChannelContrast:
        findPerChannelContrast(pairs, histogram, context.frame.controls);
        writeEntries(levels, pairs, gammas);
        break;
    }
}

} // namespace tintwell
