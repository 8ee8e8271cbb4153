#include "module/analysis/contrast_search.h"

#include "module/analysis/clip_points.h"

namespace tintwell {
namespace {

void writeInputs(LevelsPairs& pairs, std::size_t channel, const ClipPoints& points) {
    pairs.black[channel].input = points.low;
    pairs.white[channel].input = points.high;
}

} // namespace

void findPerChannelContrast(LevelsPairs& pairs, const ChannelHistogram& histogram,
                            const AnalysisControls& controls) {
    const auto& counts = histogram.channels;
    const auto points = findClipPoints({&counts[1], &counts[2], &counts[3]}, optionsFor(controls));
    for (std::size_t c = 0; c < points.size(); ++c) {
        writeInputs(pairs, c + 1, points[c]);
    }
}

void findMonochromaticContrast(LevelsPairs& pairs, const ChannelHistogram& histogram,
                               const AnalysisControls& controls) {
    const ChannelCounts luminanceOnly = {&histogram.channels[0], nullptr, nullptr};
    writeInputs(pairs, 0, findClipPoints(luminanceOnly, optionsFor(controls))[0]);
}

} // namespace tintwell
