#include "plugins/openfx/clip_timing.h"

#include <algorithm>
#include <cmath>

namespace tintwell::openfx {
namespace {

/// Far beyond any clip, and a whole number that a double can hold with thousandths.
constexpr double kFarthest = 1e12;
/// What times may be off by for a host's rounding.
constexpr double kTolerance = 1e-3;

double bounded(double time) {
    return std::isnan(time) ? 0.0 : std::clamp(time, -kFarthest, kFarthest);
}

} // namespace

FrameTime frameTimeOf(double time) {
    const double known = bounded(time);
    const double nearest = std::round(known);
    const bool isWhole = std::abs(known - nearest) <= kTolerance;
    return {static_cast<std::int64_t>(isWhole ? nearest : std::floor(known)), isWhole};
}

FrameSpan frameSpanOf(const Properties& clip, std::int64_t current) {
    constexpr FrameSpan kUnknown = {static_cast<std::int64_t>(-kFarthest),
                                    static_cast<std::int64_t>(kFarthest)};
    const auto first = clip.getDouble(property::kFrameRange, 0);
    const auto last = clip.getDouble(property::kFrameRange, 1);
    if (!first || !last || std::isnan(*first) || std::isnan(*last)) {
        return kUnknown;
    }
    const FrameSpan told = {static_cast<std::int64_t>(std::ceil(bounded(*first) - kTolerance)),
                            static_cast<std::int64_t>(std::floor(bounded(*last) + kTolerance))};
    if (told.first > told.last || current < told.first - 1 || current > told.last + 1) {
        return kUnknown;
    }
    return {std::min(told.first, current), std::max(told.last, current)};
}

plugins::FrameRate frameRateOf(const Properties& clip, const Properties& instance) {
    for (const Properties& properties : {clip, instance}) {
        const double rate = properties.getDouble(property::kFrameRate).value_or(0.0);
        if (rate > 0.0) {
            return plugins::frameRateOf(rate);
        }
    }
    return {};
}

} // namespace tintwell::openfx
