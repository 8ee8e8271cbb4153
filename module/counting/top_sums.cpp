#include "module/counting/top_sums.h"

#include "module/numeric/level_scale.h"

#include <algorithm>
#include <numeric>

namespace tintwell {
namespace {

/// Entries a band is widened by when it ends before its lowest index.
constexpr int kWidening = 5;

double weightAt(const LevelCounts& counts, int index) {
    return static_cast<double>(counts[static_cast<std::size_t>(index)]) * 255.0;
}

double totalOf(const LevelCounts& counts) {
    return std::accumulate(counts.begin(), counts.end(), 0.0) * 255.0;
}

struct BandEnd {
    int index;
    double weight; ///< what the band holds, for the acceptance test
};

BandEnd findBandEnd(const LevelCounts& counts, double total, const ToneBand& band) {
    const double limit = band.largestShare * total;
    BandEnd end = {kTopLevel, weightAt(counts, kTopLevel)};
    while (end.index > band.lowestIndex) {
        const double next = weightAt(counts, end.index - 1);
        if (end.weight + next > limit) {
            return {std::max(band.lowestIndex, end.index - kWidening), end.weight + next};
        }
        end.weight += next;
        --end.index;
    }
    return end;
}

/// Below this index a band lies only if its table is unlike the sample.
int expectedLowest(double largestShare, int floor, const LevelCounts& sample) {
    constexpr double kMargin = 1.3;
    const double budget = kMargin * largestShare * totalOf(sample);
    return std::max(floor, walkBudget(sample, kTopLevel, -1, budget) - kWidening);
}

} // namespace

double weightOf(std::size_t pixels) {
    return static_cast<double>(pixels) * 255.0;
}

int walkBudget(const LevelCounts& counts, int index, int step, double budget) {
    while (index >= 0 && index <= kTopLevel && !(budget < weightAt(counts, index))) {
        budget -= weightAt(counts, index);
        index += step;
    }
    return index;
}

std::optional<TopBand> findTopBand(const LevelCounts& counts, double total, const ToneBand& band) {
    const double edgeShare = std::min(kEdgeShare, band.smallestShare);
    const int edge = walkBudget(counts, kTopLevel, -1, edgeShare * total);
    if (!(total > 0.0) || edge < band.lowestIndex) {
        return std::nullopt;
    }
    const BandEnd end = findBandEnd(counts, total, band);
    if (end.weight < band.smallestShare * total) {
        return std::nullopt;
    }
    return TopBand{end.index, edge};
}

void TopSums::add(const std::uint8_t* indices, const CountedPixels& row, std::size_t count) {
    isAlphaFirst_ = row.isAlphaFirst;
    std::size_t done = 0;
    while (done < count) {
        if (recentPixels_ == kernels::kMostToneSums) {
            settle();
        }
        const std::size_t run = std::min(count - done, kernels::kMostToneSums - recentPixels_);
        kernels::levelKernels().addTones(indices + done, lowest_, row.pixels + 4 * done, run,
                                         recent_.data());
        recentPixels_ += run;
        done += run;
    }
}

void TopSums::settle() {
    for (std::size_t k = 0; k < recent_.size(); ++k) {
        Sums& sums = sums_[k % kernels::kToneIndices];
        const auto& samples = recent_[k].samples;
        sums.red += samples[isAlphaFirst_ ? 1 : 2];
        sums.green += samples[isAlphaFirst_ ? 2 : 1];
        sums.blue += samples[isAlphaFirst_ ? 3 : 0];
        sums.count += samples[isAlphaFirst_ ? 0 : 3];
    }
    recent_ = {};
    recentPixels_ = 0;
}

LevelCounts TopSums::counts() {
    settle();
    LevelCounts counts{};
    std::ranges::transform(sums_, counts.begin(), [](const Sums& entry) {
        return static_cast<std::uint32_t>(entry.count);
    });
    return counts;
}

std::optional<Rgb> TopSums::mean(const TopBand& band) {
    settle();
    Rgb sums = {0.0, 0.0, 0.0};
    double weight = 0.0;
    for (int k = band.lowest; k <= kTopLevel; ++k) {
        const Sums& entry = sums_[static_cast<std::size_t>(k)];
        const double share = static_cast<double>(std::min(k, band.edge) - band.lowest + 1) /
                             (band.edge - band.lowest + 1);
        sums[0] += share * (static_cast<double>(entry.red) * 255.0);
        sums[1] += share * (static_cast<double>(entry.green) * 255.0);
        sums[2] += share * (static_cast<double>(entry.blue) * 255.0);
        weight += share * (static_cast<double>(entry.count) * 255.0);
    }
    if (!(weight > 0.0)) {
        return std::nullopt;
    }
    return Rgb{sums[0] / weight, sums[1] / weight, sums[2] / weight};
}

TableTop::TableTop(double largestShare, int floor)
    : largestShare_(largestShare), floor_(floor), sums_(floor) {}

TableTop::TableTop(double largestShare, int floor, const LevelCounts& sample)
    : largestShare_(largestShare), floor_(floor),
      sums_(expectedLowest(largestShare, floor, sample)) {}

bool TableTop::suffices(std::size_t pixels) {
    if (sums_.lowest() == floor_) {
        return true;
    }
    constexpr double kForRounding = 1.0;
    const LevelCounts counts = sums_.counts();
    // The band may be widened by the entries that are left out here.
    const double held =
        std::accumulate(counts.begin() + sums_.lowest() + kWidening, counts.end(), 0.0);
    return held > largestShare_ * static_cast<double>(pixels) + kForRounding;
}

std::optional<Rgb> TableTop::color(std::size_t pixels, const ToneBand& band) {
    const auto found = findTopBand(sums_.counts(), weightOf(pixels), band);
    return found ? sums_.mean(*found) : std::nullopt;
}

} // namespace tintwell
