#include "module/analysis/tone_search.h"

#include "module/analysis/clip_points.h"
#include "module/analysis/levels_lines.h"
#include "module/analysis/neutral_midtones.h"

#include <algorithm>

namespace tintwell {
namespace {

constexpr std::uint32_t kColorSearchAlgorithm = 2;

/// The ends that a frame keeps when it has too little range: full inputs, outputs at the targets.
LevelsPairs neutralPairs(const AutoCorrectionOptions& options) {
    LevelsPairs pairs;
    for (std::size_t c = 0; c < 3; ++c) {
        pairs.black[c + 1].output = options.shadowColor[c];
        pairs.white[c + 1].output = options.highlightColor[c];
    }
    return pairs;
}

Rgb toRgb(const RgbBytes& color) {
    return {static_cast<double>(color[0]), static_cast<double>(color[1]),
            static_cast<double>(color[2])};
}

bool hasEnoughRange(const std::array<ClipPoints, 3>& points) {
    return std::ranges::all_of(points, [](const ClipPoints& channel) {
        return channel.high - channel.low >= kMinimumInputSpan;
    });
}

} // namespace

void findToneLevels(LevelsPairs& pairs, Gammas& gammas, const ChannelHistogram& histogram,
                    ToneSearchContext& context) {
    const AnalysisControls& controls = context.frame.controls;
    AutoCorrectionOptions options = optionsFor(controls);
    options.snapNeutralMidtones = controls.snapNeutralMidtones != 0 ? 1 : 0;
    options.algorithm = kColorSearchAlgorithm;
    pairs = neutralPairs(options);
    gammas = kNeutralGammas;

    const auto& counts = histogram.channels;
    const auto clipPoints = findClipPoints({&counts[1], &counts[2], &counts[3]}, options);
    if (!hasEnoughRange(clipPoints)) {
        return;
    }
    findToneColors(context);
    const OutputTargets targets = {toRgb(options.shadowColor), toRgb(options.highlightColor)};
    solveLevelsLines(pairs, context, clipPoints, targets, kMinimumInputSpan);
    if (options.snapNeutralMidtones != 0) {
        snapMidtoneGammas(gammas, pairs, context.frame.pixels, options.midtoneColor);
    }
}

} // namespace tintwell
