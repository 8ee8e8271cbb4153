// Finds the colour of an image's shadows and of its highlights. Every pixel is entered into two
// tables: by its largest level, whose dark end holds pixels that are dark in every channel, and by
// its smallest level, whose light end holds pixels that are light in every channel. The colour is a
// weighted mean of the few per cent at that end: the outermost 0.5 % count fully, the rest of the
// band with a share that falls to its inner end, so that the mean moves smoothly as pixels cross
// the band's borders. Which indices make the band is known from the number of pixels at each; only
// then are the levels of the pixels inside it summed up, in whole numbers and exact.

#include "analysis/tone_colors.h"

#include "analysis/level_rows.h"
#include "numeric/rounding.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace tintwell {
namespace {

constexpr int kTop = 255;
constexpr double kEdgeShare = 0.005;
constexpr ToneBand kColorBand = {0.05, 0.010000000000000002, 0};
/// Entries a band is widened by when it ends before its lowest index.
constexpr int kWidening = 5;

double weightAt(const LevelCounts& counts, int index) {
    return static_cast<double>(counts[static_cast<std::size_t>(index)]) * 255.0;
}

/// Walks from `index` in steps while the budget covers the entries; the index where it stops, or
/// one step outside the table.
int walkBudget(const LevelCounts& counts, int index, int step, double budget) {
    while (index >= 0 && index <= kTop && !(budget < weightAt(counts, index))) {
        budget -= weightAt(counts, index);
        index += step;
    }
    return index;
}

struct BandEnd {
    int index;
    double weight; ///< what the band holds, for the acceptance test
};

BandEnd findBandEnd(const LevelCounts& counts, double total, const ToneBand& band) {
    const double limit = band.largestShare * total;
    BandEnd end = {kTop, weightAt(counts, kTop)};
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

/// What every pixel of an image is entered by, a row at a time.
class ToneRows {
public:
    explicit ToneRows(const PlanarImage& image)
        : levels_(viewOfPlanes(image)), darkness_(levels_.rowPixels()),
          lightness_(levels_.rowPixels()) {}

    /// Calls visit(row, darkness, lightness) for every `step`th row of levels.
    template <class Visit>
    void forEach(std::int32_t step, Visit visit) {
        for (std::int32_t y = 0; y < levels_.rows(); y += std::min(step, levels_.rows() - y)) {
            const kernels::ColorRow row = levels_.row(y);
            kernels::levelKernels().tones(row, rowPixels(), darkness_.data(), lightness_.data());
            visit(row, darkness_.data(), lightness_.data());
        }
    }

    std::size_t rowPixels() const { return levels_.rowPixels(); }

    std::size_t pixels() const { return rowPixels() * static_cast<std::size_t>(levels_.rows()); }

private:
    LevelRows levels_;
    std::vector<std::uint8_t> darkness_;  ///< 255 less the largest level
    std::vector<std::uint8_t> lightness_; ///< the smallest level
};

struct ToneCounts {
    LevelCounts darkness{};
    LevelCounts lightness{};
};

ToneCounts countTones(ToneRows& rows, std::int32_t step) {
    LevelCounter darkness;
    LevelCounter lightness;
    rows.forEach(step, [&](const kernels::ColorRow& /*row*/, const std::uint8_t* dark,
                           const std::uint8_t* light) {
        darkness.add(dark, rows.rowPixels());
        lightness.add(light, rows.rowPixels());
    });
    return {darkness.take(), lightness.take()};
}

/// The ends of a table that hold all that is asked of it: more than the budget of the extreme at
/// the low end, more than a whole band at the high end. What lies between is counted as a whole.
struct Tails {
    std::uint8_t low;
    std::uint8_t high;

    bool suffice(const LevelCounts& counts, double pixels) const {
        const auto known = [&](int from, int to) {
            return std::accumulate(counts.begin() + from, counts.begin() + to, 0.0);
        };
        constexpr double kForRounding = 1.0;
        return known(0, low + 1) > kEdgeShare * pixels + kForRounding &&
               known(high, kTop + 1) > kColorBand.largestShare * pixels + kForRounding;
    }
};

/// Tails that suffice for the whole picture if it is about like the sample.
Tails tailsOf(const LevelCounts& sample) {
    constexpr double kMargin = 1.5;
    const double weight = totalWeight(sample);
    const int low = walkBudget(sample, 0, 1, kMargin * kEdgeShare * weight);
    const int high = walkBudget(sample, kTop, -1, kMargin * kColorBand.largestShare * weight);
    return {clampTo<std::uint8_t>(low, 0, kTop), clampTo<std::uint8_t>(high, 0, kTop)};
}

/// Puts the pixels that were not counted where nobody looks: between the tails.
void addUncounted(LevelCounts& counts, const Tails& tails, std::size_t pixels) {
    const auto counted = std::accumulate(counts.begin(), counts.end(), std::size_t{0});
    counts[std::min(tails.low + 1, kTop)] += static_cast<std::uint32_t>(pixels - counted);
}

/// Counts of which all that is asked is right, at the cost of the ends alone: most pixels are
/// neither dark nor light.
ToneCounts countToneTails(ToneRows& rows) {
    constexpr std::int32_t kSampleStep = 16;
    const ToneCounts sample = countTones(rows, kSampleStep);
    const Tails dark = tailsOf(sample.darkness);
    const Tails light = tailsOf(sample.lightness);
    ToneCounts counts;
    rows.forEach(1, [&](const kernels::ColorRow& /*row*/, const std::uint8_t* darkness,
                        const std::uint8_t* lightness) {
        const auto count = kernels::levelKernels().countTails;
        count(darkness, rows.rowPixels(), dark.low, dark.high, counts.darkness.data());
        count(lightness, rows.rowPixels(), light.low, light.high, counts.lightness.data());
    });
    const auto pixels = static_cast<double>(rows.pixels());
    if (!dark.suffice(counts.darkness, pixels) || !light.suffice(counts.lightness, pixels)) {
        return countTones(rows, 1);
    }
    addUncounted(counts.darkness, dark, rows.pixels());
    addUncounted(counts.lightness, light, rows.pixels());
    return counts;
}

std::optional<BandColor> colorBand(const LevelCounts& counts, int middle) {
    ToneBand band = kColorBand;
    band.lowestIndex = static_cast<std::uint8_t>(kTop - middle);
    const std::optional<TopBand> found = findTopBand(counts, band);
    return found ? std::optional<BandColor>(*found) : std::nullopt;
}

} // namespace

double totalWeight(const LevelCounts& counts) {
    double total = 0.0;
    for (int i = 0; i <= kTop; ++i) {
        total += weightAt(counts, i);
    }
    return total;
}

std::optional<TopBand> findTopBand(const LevelCounts& counts, const ToneBand& band) {
    const double total = totalWeight(counts);
    const double edgeShare = std::min(kEdgeShare, band.smallestShare);
    const int edge = walkBudget(counts, kTop, -1, edgeShare * total);
    if (!(total > 0.0) || edge < band.lowestIndex) {
        return std::nullopt;
    }
    const BandEnd end = findBandEnd(counts, total, band);
    if (end.weight < band.smallestShare * total) {
        return std::nullopt;
    }
    return TopBand{end.index, edge};
}

void BandColor::add(const std::uint8_t* indices, const kernels::ColorRow& row, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        if (recentPixels_ == kernels::kMostToneSums) {
            settle();
        }
        const std::size_t run = std::min(count - done, kernels::kMostToneSums - recentPixels_);
        kernels::levelKernels().addTones(indices + done, static_cast<std::uint8_t>(band_.lowest),
                                         {row.red + done, row.green + done, row.blue + done}, run,
                                         recent_.data());
        recentPixels_ += run;
        done += run;
    }
}

void BandColor::settle() {
    for (std::size_t k = 0; k < sums_.size(); ++k) {
        sums_[k].red += recent_[k].red;
        sums_[k].green += recent_[k].green;
        sums_[k].blue += recent_[k].blue;
        sums_[k].count += recent_[k].count;
    }
    recent_ = {};
    recentPixels_ = 0;
}

std::optional<Rgb> BandColor::mean() {
    settle();
    Rgb sums = {0.0, 0.0, 0.0};
    double weight = 0.0;
    for (int k = band_.lowest; k <= kTop; ++k) {
        const Sums& entry = sums_[static_cast<std::size_t>(k)];
        const double share = static_cast<double>(std::min(k, band_.edge) - band_.lowest + 1) /
                             (band_.edge - band_.lowest + 1);
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

void findToneColors(ToneSearchContext& context) {
    if (context.searched) {
        return;
    }
    context.searched = true;
    ToneRows rows(context.image);
    const ToneCounts counts = countToneTails(rows);
    const int brightest =
        kTop - walkBudget(counts.darkness, 0, 1, kEdgeShare * totalWeight(counts.darkness));
    const int darkest =
        walkBudget(counts.lightness, 0, 1, kEdgeShare * totalWeight(counts.lightness));
    if (darkest >= brightest) {
        return;
    }
    std::optional<BandColor> dark = colorBand(counts.darkness, (darkest + brightest) / 2);
    std::optional<BandColor> light =
        colorBand(counts.lightness, (kTop - brightest + kTop - darkest) / 2);
    rows.forEach(1, [&](const kernels::ColorRow& row, const std::uint8_t* darkness,
                        const std::uint8_t* lightness) {
        if (dark) {
            dark->add(darkness, row, rows.rowPixels());
        }
        if (light) {
            light->add(lightness, row, rows.rowPixels());
        }
    });
    if (const auto color = dark ? dark->mean() : std::nullopt) {
        context.darkColor = *color;
        context.hasDarkColor = true;
    }
    if (const auto color = light ? light->mean() : std::nullopt) {
        context.lightColor = *color;
        context.hasLightColor = true;
    }
}

} // namespace tintwell
