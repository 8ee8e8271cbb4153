#include "steady/real_levels.h"

#include "module/analysis/clip_points.h"
#include "module/analysis/levels_lines.h"

#include <algorithm>
#include <numeric>

namespace tintwell::steady {
namespace {

constexpr double kWhite = 255.0;

/// The ends of a channel's levels without the clipped shares.
struct Ends {
    double low;
    double high;
};

std::array<Ends, 3> endsOf(const ChannelHistogram& histogram, const AnalysisControls& controls) {
    std::array<Ends, 3> ends{};
    for (std::size_t c = 0; c < ends.size(); ++c) {
        const LevelCounts& counts = histogram.channels[c + 1];
        ends[c] = {levelAtShare(counts, controls.blackClip / 10000.0),
                   levelAtShare(counts, 1.0 - controls.whiteClip / 10000.0)};
    }
    return ends;
}

Rgb darkColorOf(const ToneSearchContext& context, const std::array<Ends, 3>& ends) {
    const double low = std::min({ends[0].low, ends[1].low, ends[2].low});
    return context.hasDarkColor ? context.darkColor : Rgb{low, low, low};
}

Rgb lightColorOf(const ToneSearchContext& context, const std::array<Ends, 3>& ends) {
    const double high = std::max({ends[0].high, ends[1].high, ends[2].high});
    return context.hasLightColor ? context.lightColor : Rgb{high, high, high};
}

/// Places between the dark colour, 0, and the light one, 1, that the channels reach together.
Ends sharedReach(const Rgb& dark, const Rgb& light, const std::array<Ends, 3>& ends) {
    Ends reach = {(ends[0].low - dark[0]) / (light[0] - dark[0]),
                  (ends[0].high - dark[0]) / (light[0] - dark[0])};
    for (std::size_t c = 0; c < ends.size(); ++c) {
        for (const double end : {ends[c].low, ends[c].high}) {
            const double place = (end - dark[c]) / (light[c] - dark[c]);
            reach.low = std::min(reach.low, place);
            reach.high = std::max(reach.high, place);
        }
    }
    return reach;
}

} // namespace

double levelAtShare(const LevelCounts& counts, double share) {
    const double target = share * std::accumulate(counts.begin(), counts.end(), 0.0);
    double passed = 0.0;
    double level = 0.0;
    for (std::size_t k = 0; k < counts.size(); ++k) {
        if (counts[k] == 0) {
            continue;
        }
        level = static_cast<double>(k);
        if (passed + counts[k] >= target) {
            return std::clamp(level - 0.5 + (target - passed) / counts[k], 0.0, kWhite);
        }
        passed += counts[k];
    }
    return level;
}

std::optional<RealLevels> findRealLevels(const ChannelHistogram& histogram,
                                         const LevelsRecord& found, ToneSearchContext& context) {
    const std::array<Ends, 3> ends = endsOf(histogram, context.frame.controls);
    const auto isNarrow = [](const Ends& end) { return end.high - end.low < kMinimumInputSpan; };
    if (std::ranges::any_of(ends, isNarrow)) {
        return std::nullopt;
    }
    findToneColors(context);
    const Rgb dark = darkColorOf(context, ends);
    const Rgb light = lightColorOf(context, ends);
    for (std::size_t c = 0; c < dark.size(); ++c) {
        if (light[c] - dark[c] < 1.0) {
            return std::nullopt;
        }
    }
    const Ends reach = sharedReach(dark, light, ends);
    RealLevels levels;
    for (std::size_t c = 0; c < levels.size(); ++c) {
        const double range = light[c] - dark[c];
        levels[c] = {dark[c] + reach.low * range, dark[c] + reach.high * range,
                     found.entries[c + 1].gamma / 100.0};
        if (levels[c].white - levels[c].black < kMinimumInputSpan) {
            return std::nullopt;
        }
    }
    return levels;
}

} // namespace tintwell::steady
