// Finds the colour of an image's shadows and of its highlights. Every pixel is entered into two
// tables: by its largest level, whose dark end holds pixels that are dark in every channel, and by
// its smallest level, whose light end holds pixels that are light in every channel. The colour is a
// weighted mean of the few per cent at that end: the outermost 0.5 % count fully, the rest of the
// band with a share that falls to its inner end, so that the mean moves smoothly as pixels cross
// the band's borders. Which indices make the band is known from the number of pixels at each; only
// then are the levels of the pixels inside it summed up, in whole numbers and exact.

#include "module/analysis/tone_colors.h"

#include "module/analysis/level_rows.h"
#include "module/numeric/level_scale.h"
#include "module/numeric/rounding.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace tintwell {
namespace {

constexpr double kEdgeShare = 0.005;
constexpr ToneBand kColorBand = {0.05, 0.010000000000000002, 0};
/// Entries a band is widened by when it ends before its lowest index.
constexpr int kWidening = 5;

double weightAt(const LevelCounts& counts, int index) {
    return static_cast<double>(counts[static_cast<std::size_t>(index)]) * 255.0;
}

double totalOf(const LevelCounts& counts) {
    return std::accumulate(counts.begin(), counts.end(), 0.0) * 255.0;
}

/// Walks from `index` in steps while the budget covers the entries; the index where it stops, or
/// one step outside the table.
int walkBudget(const LevelCounts& counts, int index, int step, double budget) {
    while (index >= 0 && index <= kTopLevel && !(budget < weightAt(counts, index))) {
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

/// Both indices of every pixel of an image, a row at a time.
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

/// The two ends of a table. What is asked of the low end is where a small budget runs out, of the
/// high end a band of a few per cent; most pixels are in neither and need no more than counting.
class ToneEnds {
public:
    /// Both ends reach over the whole table.
    ToneEnds() : highestLow_(kTopLevel), lowestHigh_(0), top_(0) {}

    /// Ends that hold enough if the whole image is about like this sample of it.
    explicit ToneEnds(const LevelCounts& sample)
        : highestLow_(endOf(walkBudget(sample, 0, 1, kMargin * kEdgeShare * totalOf(sample)))),
          lowestHigh_(endOf(walkBudget(sample, kTopLevel, -1,
                                       kMargin * kColorBand.largestShare * totalOf(sample)))),
          top_(std::max(lowestHigh_ - kWidening, 0)) {}

    void add(const std::uint8_t* indices, const kernels::ColorRow& row, std::size_t count) {
        kernels::levelKernels().countLowest(indices, highestLow_, count, low_.data());
        top_.add(indices, row, count);
    }

    /// Whether the ends hold all that is asked of them, once `pixels` have been added.
    bool suffice(std::size_t pixels) {
        constexpr double kForRounding = 1.0;
        const LevelCounts high = top_.counts();
        const double low = std::accumulate(low_.begin(), low_.end(), 0.0);
        const double band = std::accumulate(high.begin() + lowestHigh_, high.end(), 0.0);
        return low > kEdgeShare * static_cast<double>(pixels) + kForRounding &&
               band > kColorBand.largestShare * static_cast<double>(pixels) + kForRounding;
    }

    /// Where the budget of the extremes runs out.
    int extreme(std::size_t pixels) const {
        return walkBudget(low_, 0, 1, kEdgeShare * weightOf(pixels));
    }

    std::optional<Rgb> color(std::size_t pixels, int lowestIndex) {
        ToneBand band = kColorBand;
        band.lowestIndex = static_cast<std::uint8_t>(lowestIndex);
        const auto found = findTopBand(top_.counts(), weightOf(pixels), band);
        return found ? top_.mean(*found) : std::nullopt;
    }

private:
    static constexpr double kMargin = 1.5;

    static std::uint8_t endOf(int index) { return clampTo<std::uint8_t>(index, 0, kTopLevel); }

    std::uint8_t highestLow_;
    std::uint8_t lowestHigh_; ///< the band does not fill up before; it may be widened below
    LevelCounts low_{};
    TopSums top_;
};

struct ToneTables {
    ToneEnds dark;
    ToneEnds light;

    void gather(ToneRows& rows) {
        rows.forEach(1, [&](const kernels::ColorRow& row, const std::uint8_t* darkness,
                            const std::uint8_t* lightness) {
            dark.add(darkness, row, rows.rowPixels());
            light.add(lightness, row, rows.rowPixels());
        });
    }
};

/// The tables of an image, of which no more is gathered than a sample of its rows lets expect to be
/// enough; if it was not, everything.
ToneTables gatherTones(ToneRows& rows) {
    constexpr std::int32_t kSampleStep = 16;
    LevelCounter darkness;
    LevelCounter lightness;
    rows.forEach(kSampleStep, [&](const kernels::ColorRow& /*row*/, const std::uint8_t* dark,
                                  const std::uint8_t* light) {
        darkness.add(dark, rows.rowPixels());
        lightness.add(light, rows.rowPixels());
    });
    ToneTables tables = {ToneEnds(darkness.take()), ToneEnds(lightness.take())};
    tables.gather(rows);
    if (!tables.dark.suffice(rows.pixels()) || !tables.light.suffice(rows.pixels())) {
        tables = {};
        tables.gather(rows);
    }
    return tables;
}

} // namespace

double weightOf(std::size_t pixels) {
    return static_cast<double>(pixels) * 255.0;
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

void TopSums::add(const std::uint8_t* indices, const kernels::ColorRow& row, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        if (recentPixels_ == kernels::kMostToneSums) {
            settle();
        }
        const std::size_t run = std::min(count - done, kernels::kMostToneSums - recentPixels_);
        kernels::levelKernels().addTones(indices + done, lowest_,
                                         {row.red + done, row.green + done, row.blue + done}, run,
                                         recent_.data());
        recentPixels_ += run;
        done += run;
    }
}

void TopSums::settle() {
    for (std::size_t k = 0; k < sums_.size(); ++k) {
        sums_[k].red += recent_[k].red;
        sums_[k].green += recent_[k].green;
        sums_[k].blue += recent_[k].blue;
        sums_[k].count += recent_[k].count;
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

void findToneColors(ToneSearchContext& context) {
    if (context.searched) {
        return;
    }
    context.searched = true;
    ToneRows rows(context.image);
    ToneTables tables = gatherTones(rows);
    const std::size_t pixels = rows.pixels();
    const int brightest = kTopLevel - tables.dark.extreme(pixels);
    const int darkest = tables.light.extreme(pixels);
    if (darkest >= brightest) {
        return;
    }
    if (const auto color = tables.dark.color(pixels, kTopLevel - (darkest + brightest) / 2)) {
        context.darkColor = *color;
        context.hasDarkColor = true;
    }
    if (const auto color = tables.light.color(
            pixels, kTopLevel - (kTopLevel - brightest + kTopLevel - darkest) / 2)) {
        context.lightColor = *color;
        context.hasLightColor = true;
    }
}

} // namespace tintwell
