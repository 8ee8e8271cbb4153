// Takes the cast out of the midtones. Each pixel is seen through the levels just found and rated by
// how near it is to a grey of middle lightness; a pixel counts as neutral as the least neutral of
// itself and three neighbours, which keeps edges and noise out. The midtone is the mean input
// colour of the most neutral pixels. A channel's gamma then moves that colour's place between the
// input points to the target's place between the output points; dividing by the geometric mean of
// the three leaves the removal of the cast alone.

#include "module/analysis/neutral_midtones.h"

#include "module/analysis/level_rows.h"
#include "module/apply/levels_tables.h"
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
        const auto rows = levels_.channels(y);
        for (std::size_t c = 0; c < maps_.size(); ++c) {
            kernels::kernelsFor<std::uint8_t>().lookUp(rows[c], pixels, maps_[c].data(),
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
class NeutralPixels {
public:
    NeutralPixels(LevelRows& levels, const LevelsPairs& pairs, SpareMemory* spares)
        : levels_(levels), rowIndices_(std::max<std::size_t>(levels.rowPixels(), 1) - 1),
          indices_(makeFrameMemory(rowIndices_ * rowsOfIndices(), spares)) {
        NeutralityRows neutralities(levels, pairs);
        std::vector<std::uint8_t> above(levels.rowPixels());
        std::vector<std::uint8_t> own(levels.rowPixels());
        for (std::int32_t y = 0; y < levels.rows(); ++y) {
            neutralities.find(y, own.data());
            if (y > 0) {
                kernels::levelKernels().leastOfSquares(above.data(), own.data(), rowIndices_,
                                                       row(y));
            }
            std::swap(own, above);
        }
    }

    std::size_t size() const { return rowIndices_ * rowsOfIndices(); }

    LevelCounts count() const {
        LevelCounter counter;
        counter.add(indices(), size());
        return counter.take();
    }

    std::optional<Rgb> meanOf(const TopBand& band) {
        TopSums top(band.lowest);
        for (std::int32_t y = 1; y < levels_.rows(); ++y) {
            const kernels::ColorRow levels = levels_.row(y);
            top.add(row(y), {levels.red + 1, levels.green + 1, levels.blue + 1}, rowIndices_);
        }
        return top.mean(band);
    }

private:
    std::size_t rowsOfIndices() const {
        return static_cast<std::size_t>(std::max(levels_.rows(), 1) - 1);
    }

    std::uint8_t* indices() const { return reinterpret_cast<std::uint8_t*>(indices_.get()); }

    std::uint8_t* row(std::int32_t y) const {
        return indices() + static_cast<std::size_t>(y - 1) * rowIndices_;
    }

    LevelRows& levels_;
    std::size_t rowIndices_;
    FrameMemory indices_;
};

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

std::optional<Rgb> findNeutralMidtone(const PlanarImage& image, const LevelsPairs& pairs,
                                      SpareMemory* spares) {
    LevelRows levels(viewOfPlanes(image));
    NeutralPixels pixels(levels, pairs, spares);
    const std::optional<TopBand> band =
        findTopBand(pixels.count(), weightOf(pixels.size()), kMidtoneBand);
    return band ? pixels.meanOf(*band) : std::nullopt;
}

bool snapMidtoneGammas(Gammas& gammas, const LevelsPairs& pairs, const PlanarImage& image,
                       const RgbBytes& midtoneColor, SpareMemory* spares) {
    gammas = kNeutralGammas;
    const std::optional<Rgb> midtone = findNeutralMidtone(image, pairs, spares);
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
