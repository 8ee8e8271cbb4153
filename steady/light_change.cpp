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

using Plane = BlockPicture::Plane;

constexpr int kColumns = static_cast<int>(BlockPicture::kColumns);
constexpr int kRows = static_cast<int>(BlockPicture::kRows);
constexpr double kCenterX = (kColumns - 1) / 2.0;
constexpr double kCenterY = (kRows - 1) / 2.0;
constexpr int kRounds = 7;
constexpr double kArrived = 0.003; // blocks
constexpr std::size_t kFewPairs = 100;

float at(const Plane& plane, int x, int y) {
    x = std::clamp(x, 0, kColumns - 1);
    y = std::clamp(y, 0, kRows - 1);
    return plane[static_cast<std::size_t>(y * kColumns + x)];
}

/// Calls visit(x, y) for all blocks of the grid.
template <class Visit>
void forEachBlock(Visit visit) {
    for (int y = 0; y < kRows; ++y) {
        for (int x = 0; x < kColumns; ++x) {
            visit(x, y);
        }
    }
}

std::size_t indexOf(int x, int y) {
    return static_cast<std::size_t>(y * kColumns + x);
}

/// Means of blocks are sharper than their grid can show in motion; this takes off the surplus.
Plane softened(const Plane& plane) {
    Plane across;
    Plane soft;
    forEachBlock([&](int x, int y) {
        across[indexOf(x, y)] =
            0.25F * (at(plane, x - 1, y) + 2.0F * at(plane, x, y) + at(plane, x + 1, y));
    });
    forEachBlock([&](int x, int y) {
        soft[indexOf(x, y)] =
            0.25F * (at(across, x, y - 1) + 2.0F * at(across, x, y) + at(across, x, y + 1));
    });
    return soft;
}

/// The plane without what is larger than a few blocks.
Plane textureOf(const Plane& plane) {
    constexpr int kReach = 3;
    Plane across;
    Plane texture;
    forEachBlock([&](int x, int y) {
        float sum = 0.0F;
        for (int i = -kReach; i <= kReach; ++i) {
            sum += at(plane, x + i, y);
        }
        across[indexOf(x, y)] = sum / (2 * kReach + 1);
    });
    forEachBlock([&](int x, int y) {
        float sum = 0.0F;
        for (int i = -kReach; i <= kReach; ++i) {
            sum += at(across, x, y + i);
        }
        texture[indexOf(x, y)] = at(plane, x, y) - sum / (2 * kReach + 1);
    });
    return texture;
}

struct Prepared {
    std::array<Plane, 3> levels;
    Plane grey;
    Plane texture; ///< of the grey
    std::array<Plane, 3> clipped;

    explicit Prepared(const BlockPicture& picture) : clipped(picture.clipped) {
        for (std::size_t c = 0; c < levels.size(); ++c) {
            levels[c] = softened(picture.means[c]);
            clipped[c] = softened(clipped[c]);
        }
        for (std::size_t i = 0; i < grey.size(); ++i) {
            grey[i] = (levels[0][i] + levels[1][i] + levels[2][i]) / 3.0F;
        }
        texture = textureOf(grey);
    }
};

/// How the content moves from one frame to the other, in blocks around the centre.
struct Motion {
    double x = 0.0;
    double y = 0.0;
    double zoom = 0.0;
    double turn = 0.0;
};

struct Place {
    double x;
    double y;

    bool isInside() const {
        return x >= 0.0 && y >= 0.0 && x <= kColumns - 1.0 && y <= kRows - 1.0;
    }
};

/// Where a block half-way between the frames lies in the one (share -0.5) and the other (0.5).
Place placeOf(const Motion& motion, int column, int row, double share) {
    const double u = column - kCenterX;
    const double v = row - kCenterY;
    return {column + share * (motion.x + motion.zoom * u - motion.turn * v),
            row + share * (motion.y + motion.zoom * v + motion.turn * u)};
}

struct Sampled {
    double value;
    double slopeX;
    double slopeY;
};

Sampled sampleAt(const Plane& plane, const Place& place) {
    const int x = std::min(static_cast<int>(place.x), kColumns - 2);
    const int y = std::min(static_cast<int>(place.y), kRows - 2);
    const double fx = place.x - x;
    const double fy = place.y - y;
    const double a = at(plane, x, y);
    const double b = at(plane, x + 1, y);
    const double c = at(plane, x, y + 1);
    const double d = at(plane, x + 1, y + 1);
    return {(a * (1 - fx) + b * fx) * (1 - fy) + (c * (1 - fx) + d * fx) * fy,
            (b - a) * (1 - fy) + (d - c) * fy, (c - a) * (1 - fx) + (d - b) * fx};
}

/// Sums for the correlation of two values.
struct Correlation {
    double n = 0.0, a = 0.0, b = 0.0, aa = 0.0, bb = 0.0, ab = 0.0;

    void add(double x, double y) {
        n += 1.0;
        a += x;
        b += y;
        aa += x * x;
        bb += y * y;
        ab += x * y;
    }

    double varianceA() const { return n > 0.0 ? std::max(0.0, aa / n - a / n * (a / n)) : 0.0; }

    double varianceB() const { return n > 0.0 ? std::max(0.0, bb / n - b / n * (b / n)) : 0.0; }

    double covariance() const { return n > 0.0 ? ab / n - a / n * (b / n) : 0.0; }

    double coefficient() const {
        const double scale = std::sqrt(varianceA() * varianceB());
        return scale > 0.0 ? covariance() / scale : 0.0;
    }
};

double coefficientAt(const Prepared& from, const Prepared& to, int shiftX, int shiftY) {
    Correlation sums;
    for (int y = std::max(0, -shiftY); y < kRows - std::max(0, shiftY); y += 2) {
        for (int x = std::max(0, -shiftX); x < kColumns - std::max(0, shiftX); x += 2) {
            sums.add(at(from.texture, x, y), at(to.texture, x + shiftX, y + shiftY));
        }
    }
    return sums.coefficient();
}

/// The shift in whole blocks that brings the textures nearest.
Motion coarseMotion(const Prepared& from, const Prepared& to) {
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

constexpr int kTile = 8;
constexpr int kTilesAcross = (kColumns + kTile - 1) / kTile;
constexpr int kTilesDown = (kRows + kTile - 1) / kTile;

/// How well the textures of both pictures agree, tile by tile, -1..1; none where there is too
/// little texture, or too little of the tile in both.
using Agreement = std::array<std::optional<double>, kTilesAcross * kTilesDown>;

std::size_t tileOf(int x, int y) {
    return static_cast<std::size_t>(y / kTile * kTilesAcross + x / kTile);
}

Agreement agreementOf(const Prepared& from, const Prepared& to, const Motion& motion) {
    constexpr double kTexture = 0.5; // the least variance of a tile that tells anything
    std::array<Correlation, kTilesAcross * kTilesDown> sums;
    forEachBlock([&](int x, int y) {
        const Place before = placeOf(motion, x, y, -0.5);
        const Place after = placeOf(motion, x, y, 0.5);
        if (before.isInside() && after.isInside()) {
            sums[tileOf(x, y)].add(sampleAt(from.texture, before).value,
                                   sampleAt(to.texture, after).value);
        }
    });
    Agreement agreement;
    for (std::size_t i = 0; i < sums.size(); ++i) {
        if (sums[i].n > kTile && std::max(sums[i].varianceA(), sums[i].varianceB()) > kTexture) {
            agreement[i] = sums[i].coefficient();
        }
    }
    return agreement;
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
std::vector<Pair> pairsOf(const Prepared& from, const Prepared& to, const Motion& motion) {
    constexpr double kMostClipped = 0.02;
    constexpr double kWithoutTexture = 0.5;
    const Agreement agreement = agreementOf(from, to, motion);
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

/// The mean over the better half of the tiles.
std::optional<double> likenessOf(const Agreement& agreement) {
    constexpr std::size_t kFewTiles = 5;
    std::vector<double> found;
    for (const auto& tile : agreement) {
        if (tile) {
            found.push_back(*tile);
        }
    }
    if (found.size() < kFewTiles) {
        return std::nullopt;
    }
    std::ranges::sort(found, std::greater<>());
    const std::size_t better = (found.size() + 1) / 2;
    const double sum =
        std::accumulate(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(better), 0.0);
    return std::max(0.0, sum / static_cast<double>(better));
}

double differenceOf(const Prepared& from, const Prepared& to) {
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

LightChange lightChange(const BlockPicture& from, const BlockPicture& to) {
    const Prepared before(from);
    const Prepared after(to);
    LightChange change;
    change.difference = differenceOf(before, after);
    Motion motion = coarseMotion(before, after);
    for (int round = 0; round < kRounds; ++round) {
        std::vector<Pair> pairs = pairsOf(before, after, motion);
        if (pairs.size() < kFewPairs) {
            break;
        }
        change.light = fitLights(pairs, 4);
        if (improveMotion(motion, pairs, change.light) < kArrived) {
            break;
        }
    }
    change.likeness = likenessOf(agreementOf(before, after, motion));
    change.moved = std::hypot(motion.x, motion.y) / kColumns;
    return change;
}

} // namespace tintwell::steady
