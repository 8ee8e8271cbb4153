// Takes the cast out of the midtones. Each pixel is seen through the levels just found and rated by
// how near it is to a grey of middle lightness; a pixel counts as neutral as the least neutral of
// itself and three neighbours, which keeps edges and noise out. The midtone is the mean input
// colour of the most neutral pixels. A channel's gamma then moves that colour's place between the
// input points to the target's place between the output points; dividing by the geometric mean of
// the three leaves the removal of the cast alone.

#include "analysis/neutral_midtones.h"

#include "apply/levels_tables.h"
#include "numeric/level_scale.h"
#include "numeric/real_functions.h"
#include "numeric/rounding.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace tintwell {
namespace {

constexpr ToneBand kMidtoneBand = {0.1, 0.01, 128};

struct LevelMap {
    std::array<std::uint8_t, 256> red;
    std::array<std::uint8_t, 256> green;
    std::array<std::uint8_t, 256> blue;
};

std::array<std::uint8_t, 256> mapOf(const LevelsPair& black, const LevelsPair& white) {
    LevelsTable table(false);
    fillLevelsRange(table, 0, black.input, black.output);
    fillLevelsRange(table, white.input, 255, white.output);
    buildLinearLevels(table, {black.input, white.input, black.output, white.output});
    return table.table8;
}

/// 255 for a grey of middle lightness, less the more coloured, darker or lighter it is; 0..255.
std::uint8_t neutrality(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    const int largest = std::max({red, green, blue});
    const int smallest = std::min({red, green, blue});
    const int chroma = largest - smallest;
    const int sum = std::min(largest + smallest, 510 - (largest + smallest));
    int saturation = 0;
    if (chroma != 0) {
        saturation = chroma >= sum ? 255 : (chroma * 255 + sum / 2) / sum;
    }
    return clampTo<std::uint8_t>(sum - 2 * saturation, 0, 255);
}

/// The rows of neutrality around a pixel: the row above and, as far as the walk has come, its own.
template <class Sample>
class NeutralPixels {
public:
    NeutralPixels(const PlanarImage& image, const LevelMap& map)
        : image_(image), map_(map), above_(rowSamples(image)) {}

    void gather(ToneTable& table) {
        for (std::int32_t y = 0; y < rowCount(image_); ++y) {
            gatherRow(table, y);
        }
    }

private:
    void gatherRow(ToneTable& table, std::int32_t y) {
        const Sample* red = planeRow<const Sample>(image_, 1, y);
        const Sample* green = planeRow<const Sample>(image_, 2, y);
        const Sample* blue = planeRow<const Sample>(image_, 3, y);
        std::uint8_t left = 0;
        std::uint8_t aboveLeft = 0;
        for (std::size_t x = 0; x < above_.size(); ++x) {
            const std::uint8_t r = levelOf(red[x]);
            const std::uint8_t g = levelOf(green[x]);
            const std::uint8_t b = levelOf(blue[x]);
            const std::uint8_t own = neutrality(map_.red[r], map_.green[g], map_.blue[b]);
            const std::uint8_t above = std::exchange(above_[x], own);
            if (y > 0 && x > 0) {
                kernels::ToneSums& sums = table[std::min({own, left, above, aboveLeft})];
                sums.red += r;
                sums.green += g;
                sums.blue += b;
                sums.count += 1;
            }
            left = own;
            aboveLeft = above;
        }
    }

    const PlanarImage& image_;
    const LevelMap& map_;
    std::vector<std::uint8_t> above_;
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

std::optional<Rgb> findNeutralMidtone(const PlanarImage& image, const LevelsPairs& pairs) {
    const LevelMap map = {mapOf(pairs.black[1], pairs.white[1]),
                          mapOf(pairs.black[2], pairs.white[2]),
                          mapOf(pairs.black[3], pairs.white[3])};
    ToneTable table{};
    if (image.bitDepth == 16) {
        NeutralPixels<std::uint16_t>(image, map).gather(table);
    } else {
        NeutralPixels<std::uint8_t>(image, map).gather(table);
    }
    const double total = totalWeight(table);
    return total > 0.0 ? averageTopBand(table, total, kMidtoneBand) : std::nullopt;
}

bool snapMidtoneGammas(Gammas& gammas, const LevelsPairs& pairs, const PlanarImage& image,
                       const RgbBytes& midtoneColor) {
    gammas = kNeutralGammas;
    const std::optional<Rgb> midtone = findNeutralMidtone(image, pairs);
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
