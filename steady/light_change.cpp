// Both pictures are looked at on a grid half-way between them, so that interpolation takes the same
// from both. In turns, the light is fitted over blocks that lie on each other, and the motion is
// improved by the slopes of the picture; blocks whose residual is large for where they are count
// less each time.

#include "steady/light_change.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace tintwell::steady {
namespace {

constexpr int kRounds = 7;
constexpr double kArrived = 0.003; // blocks
constexpr std::size_t kFewPairs = 100;

double coefficientAt(const CoarsePicture& from, const CoarsePicture& to, int shiftX, int shiftY) {
    Correlation sums;
    for (int y = std::max(0, -shiftY); y < kRows - std::max(0, shiftY); y += 2) {
        for (int x = std::max(0, -shiftX); x < kColumns - std::max(0, shiftX); x += 2) {
            sums.add(at(from.texture, x, y), at(to.texture, x + shiftX, y + shiftY));
        }
    }
    return sums.coefficient();
}

/// The shift in whole blocks that brings the textures nearest.
Motion coarseMotion(const CoarsePicture& from, const CoarsePicture& to) {
    constexpr int kReachX = kColumns / 4;
    constexpr int kReachY = kRows / 4;
    constexpr double kGood = 0.9;
    constexpr double kBetter = 0.02; // no shift without need
    double best = coefficientAt(from, to, 0, 0) + kBetter;
    Motion motion;
    if (best > kGood) {
        return motion;
    }
    for (int y = -kReachY; y <= kReachY; ++y) {
        for (int x = -kReachX; x <= kReachX; ++x) {
            const double here = coefficientAt(from, to, x, y);
            if (here > best) {
                best = here;
                motion.x = x;
                motion.y = y;
            }
        }
    }
    return motion;
}

/// A block that lies in both pictures.
struct Pair {
    int column;
    int row;
    std::array<double, 3> from;
    std::array<double, 3> to;
    std::array<double, 3> trust; ///< 0 where much is clipped
    double fromGrey;
    double toGrey;
    double slopeX; ///< of the grey, mean of both
    double slopeY;
    double weight; ///< how well it follows, 0..1
};

/// Their first weights are how well the texture around them agrees, so that what covers much of a
/// picture is not taken for it.
std::vector<Pair> pairsOf(const CoarsePicture& from, const CoarsePicture& to,
                          const Motion& motion) {
    constexpr double kMostClipped = 0.02;
    constexpr double kWithoutTexture = 0.5;
    const Agreement agreement = agreementOf(from.texture, to.texture, motion);
    std::vector<Pair> pairs;
    pairs.reserve(BlockPicture::kBlocks);
    forEachBlock([&](int x, int y) {
        const Place before = placeOf(motion, x, y, -0.5);
        const Place after = placeOf(motion, x, y, 0.5);
        if (!before.isInside() || !after.isInside()) {
            return;
        }
        const Sampled a = sampleAt(from.grey, before);
        const Sampled b = sampleAt(to.grey, after);
        Pair pair{x,
                  y,
                  {},
                  {},
                  {},
                  a.value,
                  b.value,
                  0.5 * (a.slopeX + b.slopeX),
                  0.5 * (a.slopeY + b.slopeY),
                  std::max(0.0, agreement[tileOf(x, y)].value_or(kWithoutTexture))};
        for (std::size_t c = 0; c < 3; ++c) {
            pair.from[c] = sampleAt(from.levels[c], before).value;
            pair.to[c] = sampleAt(to.levels[c], after).value;
            const double clipped = std::max(sampleAt(from.clipped[c], before).value,
                                            sampleAt(to.clipped[c], after).value);
            pair.trust[c] = std::max(0.0, 1.0 - clipped / kMostClipped);
        }
        pairs.push_back(pair);
    });
    return pairs;
}

/// The variance to expect of a block's residual: rounding and grain, and more where the picture is
/// steep and lies a little aside.
double expectedVariance(const Pair& pair) {
    constexpr double kGrain = 0.05;
    constexpr double kAside = 0.03; // blocks
    const double steep = pair.slopeX * pair.slopeX + pair.slopeY * pair.slopeY;
    return kGrain * kGrain + kAside * kAside * steep;
}

/// Fits a channel's map over the pairs by their present weights. Neither picture is the cause of
/// the other: the gain is the ratio of their spreads, which noise in either does not pull down.
LightEstimate fitLight(const std::vector<Pair>& pairs, std::size_t channel) {
    constexpr double kNeighboursShare = 4.0; // softened blocks are not independent
    double sum = 0.0, squares = 0.0, a = 0.0, b = 0.0;
    const auto weightOf = [&](const Pair& pair) {
        return pair.weight * pair.trust[channel] / expectedVariance(pair);
    };
    for (const Pair& pair : pairs) {
        const double weight = weightOf(pair);
        sum += weight;
        squares += weight * weight;
        a += weight * pair.from[channel];
        b += weight * pair.to[channel];
    }
    LightEstimate estimate;
    estimate.pivotVariance = estimate.gainVariance = 1e6;
    if (sum <= 0.0) {
        return estimate;
    }
    a /= sum;
    b /= sum;
    double aa = 0.0, bb = 0.0, ab = 0.0;
    for (const Pair& pair : pairs) {
        const double weight = weightOf(pair) / sum;
        aa += weight * (pair.from[channel] - a) * (pair.from[channel] - a);
        bb += weight * (pair.to[channel] - b) * (pair.to[channel] - b);
        ab += weight * (pair.from[channel] - a) * (pair.to[channel] - b);
    }
    constexpr double kLeastSpread = 0.25;
    const bool hasSpread = aa > kLeastSpread && bb > kLeastSpread && ab > 0.0;
    estimate.map.gain = hasSpread ? std::sqrt(bb / aa) : 1.0;
    estimate.map.offset = b - estimate.map.gain * a;
    estimate.pivot = a;
    const double independent = sum * sum / squares / kNeighboursShare;
    const double residual = std::max(0.0, bb - 2.0 * estimate.map.gain * ab +
                                              estimate.map.gain * estimate.map.gain * aa);
    constexpr double kRounding = 1e-4;
    estimate.pivotVariance = residual / independent + kRounding;
    estimate.gainVariance = hasSpread ? estimate.pivotVariance / aa : 1e6;
    return estimate;
}

double medianOf(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Weighs the pairs by how well all their channels follow the light.
void weighPairs(std::vector<Pair>& pairs, const std::array<LightEstimate, 3>& light) {
    constexpr double kToDeviation = 1.4826; // of a normal distribution's median deviation
    constexpr double kLeastDeviation = 0.5;
    constexpr double kOutlier = 4.0;
    std::vector<double> residuals(pairs.size());
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        double greatest = 0.0;
        for (std::size_t c = 0; c < light.size(); ++c) {
            greatest =
                std::max(greatest, pairs[i].trust[c] * std::abs(pairs[i].to[c] -
                                                                light[c].map.of(pairs[i].from[c])));
        }
        residuals[i] = greatest / std::sqrt(expectedVariance(pairs[i]));
    }
    std::vector<double> sorted = residuals;
    const double deviation = std::max(kLeastDeviation, kToDeviation * medianOf(sorted));
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const double share = residuals[i] / (kOutlier * deviation);
        pairs[i].weight = share < 1.0 ? (1.0 - share * share) * (1.0 - share * share) : 0.0;
    }
}

std::array<LightEstimate, 3> fitLights(std::vector<Pair>& pairs, int rounds) {
    std::array<LightEstimate, 3> light;
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t c = 0; c < light.size(); ++c) {
            light[c] = fitLight(pairs, c);
        }
        weighPairs(pairs, light);
    }
    return light;
}

constexpr std::size_t kUnknowns = 4;
using Row = std::array<double, kUnknowns + 1>;

/// Solves the equations in place by elimination; nothing where they do not determine the unknowns.
std::optional<std::array<double, kUnknowns>> solve(std::array<Row, kUnknowns>& rows) {
    for (std::size_t i = 0; i < kUnknowns; ++i) {
        const auto pivot = std::max_element(
            rows.begin() + static_cast<std::ptrdiff_t>(i), rows.end(),
            [i](const Row& a, const Row& b) { return std::abs(a[i]) < std::abs(b[i]); });
        std::iter_swap(rows.begin() + static_cast<std::ptrdiff_t>(i), pivot);
        if (std::abs(rows[i][i]) < 1e-9) {
            return std::nullopt;
        }
        for (std::size_t j = 0; j < kUnknowns; ++j) {
            const double factor = j == i ? 0.0 : rows[j][i] / rows[i][i];
            for (std::size_t k = i; k <= kUnknowns; ++k) {
                rows[j][k] -= factor * rows[i][k];
            }
        }
    }
    std::array<double, kUnknowns> solution{};
    for (std::size_t i = 0; i < kUnknowns; ++i) {
        solution[i] = rows[i][kUnknowns] / rows[i][i];
    }
    return solution;
}

/// One step toward the motion at which the greys agree; how far it goes, in blocks.
double improveMotion(Motion& motion, const std::vector<Pair>& pairs,
                     const std::array<LightEstimate, 3>& light) {
    LightMap grey{0.0, 0.0};
    for (const LightEstimate& channel : light) {
        grey.gain += channel.map.gain / 3.0;
        grey.offset += channel.map.offset / 3.0;
    }
    std::array<Row, kUnknowns> rows{};
    for (const Pair& pair : pairs) {
        const double u = pair.column - kCenterX;
        const double v = pair.row - kCenterY;
        const std::array<double, kUnknowns> slopes = {pair.slopeX, pair.slopeY,
                                                      pair.slopeX * u + pair.slopeY * v,
                                                      pair.slopeY * u - pair.slopeX * v};
        const double residual = pair.toGrey - grey.of(pair.fromGrey);
        const double weight = pair.weight * pair.trust[1] / expectedVariance(pair);
        for (std::size_t j = 0; j < kUnknowns; ++j) {
            for (std::size_t k = 0; k < kUnknowns; ++k) {
                rows[j][k] += weight * slopes[j] * slopes[k];
            }
            rows[j][kUnknowns] -= weight * slopes[j] * residual;
        }
    }
    for (std::size_t j = 0; j < kUnknowns; ++j) {
        rows[j][j] *= 1.001; // a picture without slopes does not move
        rows[j][j] += 1e-6;
    }
    double moved = 0.0;
    if (const auto step = solve(rows)) {
        constexpr double kMostBlocks = 1.0;
        const double length = std::hypot((*step)[0], (*step)[1]);
        const double share = std::min(1.0, kMostBlocks / std::max(length, 1e-9));
        motion.x += share * (*step)[0];
        motion.y += share * (*step)[1];
        motion.zoom += share * (*step)[2];
        motion.turn += share * (*step)[3];
        moved = length + kCenterX * (std::abs((*step)[2]) + std::abs((*step)[3]));
    }
    return moved;
}

double differenceOf(const CoarsePicture& from, const CoarsePicture& to) {
    double sum = 0.0;
    for (std::size_t c = 0; c < from.levels.size(); ++c) {
        for (std::size_t i = 0; i < BlockPicture::kBlocks; ++i) {
            const double change = to.levels[c][i] - from.levels[c][i];
            sum += change * change;
        }
    }
    return std::sqrt(sum / (3.0 * BlockPicture::kBlocks));
}

} // namespace

CoarsePicture::CoarsePicture(const BlockPicture& picture) {
    for (std::size_t c = 0; c < levels.size(); ++c) {
        levels[c] = softened(picture.means[c]);
        clipped[c] = softened(picture.clipped[c]);
    }
    for (std::size_t i = 0; i < grey.size(); ++i) {
        grey[i] = (levels[0][i] + levels[1][i] + levels[2][i]) / 3.0F;
    }
    texture = textureOf(grey);
}

LightChange lightChange(const CoarsePicture& from, const CoarsePicture& to) {
    LightChange change;
    change.difference = differenceOf(from, to);
    change.motion = coarseMotion(from, to);
    for (int round = 0; round < kRounds; ++round) {
        std::vector<Pair> pairs = pairsOf(from, to, change.motion);
        if (pairs.size() < kFewPairs) {
            break;
        }
        change.light = fitLights(pairs, 4);
        if (improveMotion(change.motion, pairs, change.light) < kArrived) {
            break;
        }
    }
    change.likeness = likenessOf(agreementOf(from.texture, to.texture, change.motion));
    return change;
}

} // namespace tintwell::steady
