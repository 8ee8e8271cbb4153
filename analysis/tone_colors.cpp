// Finds the colour of an image's shadows and of its highlights. Every pixel is entered into two
// tables: by its largest level, whose dark end holds pixels that are dark in every channel, and by
// its smallest level, whose light end holds pixels that are light in every channel. The colour is a
// weighted mean of the few per cent at that end: the outermost 0.5 % count fully, the rest of the
// band with a share that falls to its inner end, so that the mean moves smoothly as pixels cross
// the band's borders. Sums of levels are whole numbers and exact; a table's weight is 255 a pixel.

#include "analysis/tone_colors.h"

#include <algorithm>

namespace tintwell {
namespace {

constexpr int kTop = 255;
constexpr double kEdgeShare = 0.005;
constexpr ToneBand kColorBand = {0.05, 0.010000000000000002, 0};
/// Entries a band is widened by when it ends before its lowest index.
constexpr int kWidening = 5;

double weightAt(const ToneTable& table, int index) {
    return static_cast<double>(table[static_cast<std::size_t>(index)].count) * 255.0;
}

/// Walks from `index` in steps while the budget covers the entries; the index where it stops, or
/// one step outside the table.
int walkBudget(const ToneTable& table, int index, int step, double budget) {
    while (index >= 0 && index <= kTop && !(budget < weightAt(table, index))) {
        budget -= weightAt(table, index);
        index += step;
    }
    return index;
}

struct BandEnd {
    int index;
    double weight; ///< what the band holds, for the acceptance test
};

BandEnd findBandEnd(const ToneTable& table, double total, const ToneBand& band) {
    const double limit = band.largestShare * total;
    BandEnd end = {kTop, weightAt(table, kTop)};
    while (end.index > band.lowestIndex) {
        const double next = weightAt(table, end.index - 1);
        if (end.weight + next > limit) {
            return {std::max(band.lowestIndex, end.index - kWidening), end.weight + next};
        }
        end.weight += next;
        --end.index;
    }
    return end;
}

std::optional<Rgb> rampedMean(const ToneTable& table, int lowest, int edge) {
    Rgb sums = {0.0, 0.0, 0.0};
    double weight = 0.0;
    for (int k = lowest; k <= kTop; ++k) {
        const kernels::ToneSums& entry = table[static_cast<std::size_t>(k)];
        const double share =
            static_cast<double>(std::min(k, edge) - lowest + 1) / (edge - lowest + 1);
        sums[0] += share * (static_cast<double>(entry.red) * 255.0);
        sums[1] += share * (static_cast<double>(entry.green) * 255.0);
        sums[2] += share * (static_cast<double>(entry.blue) * 255.0);
        weight += share * weightAt(table, k);
    }
    if (!(weight > 0.0)) {
        return std::nullopt;
    }
    return Rgb{sums[0] / weight, sums[1] / weight, sums[2] / weight};
}

struct ToneTables {
    ToneTable byMax{}; ///< index 255 less the largest level: high indices are dark
    ToneTable byMin{}; ///< index of the smallest level: high indices are light
};

template <class Sample>
void addTones(ToneTables& tables, const PlanarImage& image) {
    for (std::int32_t y = 0; y < rowCount(image); ++y) {
        kernels::kernelsFor<Sample>().addTones(
            planeRow<const Sample>(image, 1, y), planeRow<const Sample>(image, 2, y),
            planeRow<const Sample>(image, 3, y), rowSamples(image), tables.byMax.data(),
            tables.byMin.data());
    }
}

std::optional<Rgb> averageColor(const ToneTable& table, int middle) {
    const double total = totalWeight(table);
    ToneBand band = kColorBand;
    band.lowestIndex = static_cast<std::uint8_t>(kTop - middle);
    return total > 0.0 ? averageTopBand(table, total, band) : std::nullopt;
}

} // namespace

double totalWeight(const ToneTable& table) {
    double total = 0.0;
    for (int i = 0; i <= kTop; ++i) {
        total += weightAt(table, i);
    }
    return total;
}

std::optional<Rgb> averageTopBand(const ToneTable& table, double total, const ToneBand& band) {
    const double edgeShare = std::min(kEdgeShare, band.smallestShare);
    const int edge = walkBudget(table, kTop, -1, edgeShare * total);
    if (edge < band.lowestIndex) {
        return std::nullopt;
    }
    const BandEnd end = findBandEnd(table, total, band);
    if (end.weight < band.smallestShare * total) {
        return std::nullopt;
    }
    return rampedMean(table, end.index, edge);
}

void findToneColors(ToneSearchContext& context) {
    if (context.searched) {
        return;
    }
    context.searched = true;
    ToneTables tables;
    if (context.image.bitDepth == 16) {
        addTones<std::uint16_t>(tables, context.image);
    } else {
        addTones<std::uint8_t>(tables, context.image);
    }
    const int brightest =
        kTop - walkBudget(tables.byMax, 0, 1, kEdgeShare * totalWeight(tables.byMax));
    const int darkest = walkBudget(tables.byMin, 0, 1, kEdgeShare * totalWeight(tables.byMin));
    if (darkest >= brightest) {
        return;
    }
    if (const auto dark = averageColor(tables.byMax, (darkest + brightest) / 2)) {
        context.darkColor = *dark;
        context.hasDarkColor = true;
    }
    if (const auto light = averageColor(tables.byMin, (kTop - brightest + kTop - darkest) / 2)) {
        context.lightColor = *light;
        context.hasLightColor = true;
    }
}

} // namespace tintwell
