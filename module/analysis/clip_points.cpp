// Finds the levels that remain once the Black Clip and White Clip shares of outlying pixels are set
// aside. A scan walks inward from one end and stops at the first bin where the pixels passed plus
// half the bin's own exceed the target count. A second pass gives every channel the target of the
// channel that set aside the most, so that all three are clipped by equal counts and not merely by
// equal shares of counts that differ by ties.

#include "module/analysis/clip_points.h"

#include "module/numeric/level_scale.h"
#include "module/numeric/rounding.h"

#include <algorithm>
#include <numeric>

namespace tintwell {
namespace {

struct Scan {
    int bin;             ///< where it stopped
    std::int32_t passed; ///< pixels in the bins before
};

bool stopsAt(const LevelCounts& counts, int bin, double passed, std::int32_t target) {
    const auto half = static_cast<std::int32_t>(counts[static_cast<std::size_t>(bin)]) >> 1;
    return target < half + passed;
}

/// Walks from bin 0 up (step 1) or from bin 255 down (step -1), at the latest to `bound`.
Scan scan(const LevelCounts& counts, int step, int bound, std::int32_t target) {
    int bin = step > 0 ? 0 : kTopLevel;
    double passed = 0.0;
    while (bin != bound && !stopsAt(counts, bin, passed, target)) {
        passed += counts[static_cast<std::size_t>(bin)];
        bin += step;
    }
    return {bin, nearest(passed)};
}

Scan scanUp(const LevelCounts& counts, int bound, std::int32_t target) {
    return scan(counts, 1, bound, target);
}

/// A low clip point at the top leaves no room to scan.
Scan scanDown(const LevelCounts& counts, int low, std::int32_t target) {
    return low == kTopLevel ? Scan{kTopLevel, 0} : scan(counts, -1, low, target);
}

/// Largest clipped counts over the channels.
struct Clipped {
    std::int32_t black = 0;
    std::int32_t white = 0;
};

ClipPoints clipByShare(const LevelCounts& counts, const AutoCorrectionOptions& options,
                       Clipped& largest) {
    const double unit = std::accumulate(counts.begin(), counts.end(), 0.0) / 10000.0;
    const Scan low = scanUp(counts, kTopLevel, nearest(options.blackClip * unit));
    const Scan high = scanDown(counts, low.bin, nearest(options.whiteClip * unit));
    largest.black = std::max(largest.black, low.passed);
    largest.white = std::max(largest.white, high.passed);
    return {static_cast<std::uint16_t>(low.bin), static_cast<std::uint16_t>(high.bin)};
}

void clipByCount(const LevelCounts& counts, const AutoCorrectionOptions& options,
                 const Clipped& largest, ClipPoints& points) {
    if (options.blackClip != 0 && largest.black >= 1) {
        points.low = static_cast<std::uint16_t>(scanUp(counts, points.high, largest.black).bin);
    }
    if (options.whiteClip != 0 && largest.white >= 1) {
        points.high = static_cast<std::uint16_t>(scanDown(counts, points.low, largest.white).bin);
    }
}

} // namespace

AutoCorrectionOptions optionsFor(const AnalysisControls& controls) {
    AutoCorrectionOptions options = *defaultAutoCorrectionOptions();
    options.blackClip = static_cast<std::uint32_t>(controls.blackClip);
    options.whiteClip = static_cast<std::uint32_t>(controls.whiteClip);
    return options;
}

std::array<ClipPoints, 3> findClipPoints(const ChannelCounts& channels,
                                         const AutoCorrectionOptions& options) {
    std::array<ClipPoints, 3> points{{{0, kTopLevel}, {0, kTopLevel}, {0, kTopLevel}}};
    Clipped largest;
    for (std::size_t c = 0; c < channels.size(); ++c) {
        if (channels[c] != nullptr) {
            points[c] = clipByShare(*channels[c], options, largest);
        }
    }
    for (std::size_t c = 0; c < channels.size(); ++c) {
        if (channels[c] != nullptr) {
            clipByCount(*channels[c], options, largest, points[c]);
        }
    }
    return points;
}

} // namespace tintwell
