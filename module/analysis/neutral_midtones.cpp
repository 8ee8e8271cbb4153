// Takes the cast out of the midtones. Each pixel is seen through the levels just found and rated by
// how near it is to a grey of middle lightness; a pixel counts as neutral as the least neutral of
// itself and three neighbours, which keeps edges and noise out. The midtone is the mean input
// colour of the most neutral pixels. A channel's gamma then moves that colour's place between the
// input points to the target's place between the output points; dividing by the geometric mean of
// the three leaves the removal of the cast alone.

#include "module/analysis/neutral_midtones.h"

#include "module/apply/levels_tables.h"
#include "module/counting/level_rows.h"
#include "module/counting/top_sums.h"
#include "module/kernels/kernels.h"
#include "module/numeric/real_functions.h"
#include "module/numeric/rounding.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tintwell {
namespace {

constexpr ToneBand kMidtoneBand = {0.1, 0.01, 128};

using LevelMap = std::array<std::uint8_t, 256>;

LevelMap mapOf(const LevelsPair& black, const LevelsPair& white) {
    LevelsTable table(false);
    fillLevelsRange(table, 0, black.input, black.output);
    fillLevelsRange(table, white.input, 255, white.output);
    buildLinearLevels(table, {black.input, white.input, black.output, white.output});
    return table.table8;
}

/// How near the corrected pixels of a row are to a grey of middle lightness, 0..255.
class NeutralityRows {
public:
    NeutralityRows(LevelRows& levels, const LevelsPairs& pairs) : levels_(levels) {
        for (std::size_t c = 0; c < maps_.size(); ++c) {
            maps_[c] = mapOf(pairs.black[c + 1], pairs.white[c + 1]);
            mapped_[c].resize(levels.rowPixels());
        }
    }

    void find(std::int32_t y, std::uint8_t* neutralities) {
        const std::size_t pixels = levels_.rowPixels();
        const kernels::ColorRow row = levels_.row(y);
        const std::array<const std::uint8_t*, 3> channels = {row.red, row.green, row.blue};
        for (std::size_t c = 0; c < maps_.size(); ++c) {
            kernels::kernelsFor<std::uint8_t>().lookUp(channels[c], pixels, maps_[c].data(),
                                                       mapped_[c].data());
        }
        kernels::levelKernels().neutralities(
            {mapped_[0].data(), mapped_[1].data(), mapped_[2].data()}, pixels, neutralities);
    }

private:
    LevelRows& levels_;
    std::array<LevelMap, 3> maps_{};
    std::array<std::vector<std::uint8_t>, 3> mapped_;
};

/// The indices of all pixels but the first of each row and the first row: for each the least of
/// itself, its left neighbour and the two above them.
class NeutralIndices {
public:
    NeutralIndices(const PixelView& pixels, const LevelsPairs& pairs)
        : levels_(pixels), neutralities_(levels_, pairs), above_(levels_.rowPixels()),
          own_(levels_.rowPixels()), indices_(std::max<std::size_t>(levels_.rowPixels(), 1) - 1) {}

    /// Calls visit(indices, count) for every `step`th row.
    template <class Visit>
    void forEachRow(std::int32_t step, Visit visit) {
        for (std::int32_t y = 1; y < levels_.rows(); y += std::min(step, levels_.rows() - y)) {
            if (y == 1 || step > 1) {
                neutralities_.find(y - 1, above_.data());
            }
            neutralities_.find(y, own_.data());
            kernels::levelKernels().leastOfSquares(above_.data(), own_.data(), indices_.size(),
                                                   indices_.data());
            visit(indices_.data(), indices_.size());
            std::swap(own_, above_);
        }
    }

    /// The pixels of the indices that were visited last.
    CountedPixels pixels() { return levels_.countedPixels().from(1); }

    std::size_t size() const {
        return indices_.size() * static_cast<std::size_t>(std::max(levels_.rows(), 1) - 1);
    }

private:
    LevelRows levels_;
    NeutralityRows neutralities_;
    std::vector<std::uint8_t> above_;
    std::vector<std::uint8_t> own_;
    std::vector<std::uint8_t> indices_; ///< of a row
};

/// What the band needs of the table of neutral pixels, as far as a sample of the rows tells.
TableTop expectedTop(NeutralIndices& indices) {
    constexpr std::int32_t kSampleStep = 32;
    SampleCounter sample;
    indices.forEachRow(kSampleStep,
                       [&](const std::uint8_t* row, std::size_t count) { sample.add(row, count); });
    return {kMidtoneBand.largestShare, kMidtoneBand.lowestIndex, sample.counts()};
}

void gather(NeutralIndices& indices, TableTop& top) {
    indices.forEachRow(1, [&](const std::uint8_t* row, std::size_t count) {
        top.add(row, indices.pixels(), count);
    });
}

/// log2 of how often `offset` goes into `range`: the exponent of the gamma that moves `offset` to
/// the middle of `range`.
double middleExponent(int range, int level, int black, int white) {
    const auto offset =
        static_cast<std::int16_t>(std::max(std::min(level, white - 1), black + 1) - black);
    const double distance = offset < 1 ? 0.001 : offset;
    return real::log(range / distance) / real::log(2.0);
}

double gammaRatio(const LevelsPair& black, const LevelsPair& white, std::uint8_t found,
                  std::uint8_t target) {
    const double ofTarget =
        middleExponent(white.output - black.output, target, black.output, white.output);
    const double ofFound =
        middleExponent(white.input - black.input, found, black.input, white.input);
    const double ratio = ofFound / ofTarget;
    return std::isfinite(ratio) && ratio > 0.0 ? ratio : 1.0;
}

} // namespace

std::optional<Rgb> findNeutralMidtone(const PixelView& pixels, const LevelsPairs& pairs) {
    NeutralIndices indices(pixels, pairs);
    TableTop top = expectedTop(indices);
    gather(indices, top);
    if (!top.suffices(indices.size())) {
        top = TableTop(kMidtoneBand.largestShare, kMidtoneBand.lowestIndex);
        gather(indices, top);
    }
    return top.color(indices.size(), kMidtoneBand);
}

bool snapMidtoneGammas(Gammas& gammas, const LevelsPairs& pairs, const PixelView& pixels,
                       const RgbBytes& midtoneColor) {
    gammas = kNeutralGammas;
    const std::optional<Rgb> midtone = findNeutralMidtone(pixels, pairs);
    if (!midtone) {
        return false;
    }
    Rgb ratios{};
    for (std::size_t c = 0; c < 3; ++c) {
        ratios[c] = gammaRatio(pairs.black[c + 1], pairs.white[c + 1], nearestLevel((*midtone)[c]),
                               midtoneColor[c]);
    }
    const double mean = real::exp(real::log(ratios[0] * ratios[1] * ratios[2]) / 3.0);
    for (std::size_t c = 0; c < 3; ++c) {
        gammas[c + 1] = static_cast<std::uint16_t>(nearestInt16(100.0 * ratios[c] / mean));
    }
    return true;
}

} // namespace tintwell
