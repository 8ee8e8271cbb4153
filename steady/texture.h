#pragma once

// Coarse pictures laid on each other: planes of the grid, what is texture in them, and where a
// place of the one lies in the other.

#include "steady/block_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>

namespace tintwell::steady {

using Plane = BlockPicture::Plane;

inline constexpr int kColumns = static_cast<int>(BlockPicture::kColumns);
inline constexpr int kRows = static_cast<int>(BlockPicture::kRows);
inline constexpr double kCenterX = (kColumns - 1) / 2.0;
inline constexpr double kCenterY = (kRows - 1) / 2.0;

/// The block's value; those outside of the grid repeat its border.
inline float at(const Plane& plane, int x, int y) {
    x = std::clamp(x, 0, kColumns - 1);
    y = std::clamp(y, 0, kRows - 1);
    return plane[static_cast<std::size_t>(y * kColumns + x)];
}

inline std::size_t indexOf(int x, int y) {
    return static_cast<std::size_t>(y * kColumns + x);
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
inline Place placeOf(const Motion& motion, int column, int row, double share) {
    const double u = column - kCenterX;
    const double v = row - kCenterY;
    return {column + share * (motion.x + motion.zoom * u - motion.turn * v),
            row + share * (motion.y + motion.zoom * v + motion.turn * u)};
}

/// A plane between its blocks, and its slopes there.
struct Sampled {
    double value;
    double slopeX;
    double slopeY;
};

/// The place must be inside.
inline Sampled sampleAt(const Plane& plane, const Place& place) {
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

/// Means of blocks are sharper than their grid can show in motion; this takes off the surplus.
Plane softened(const Plane& plane);

/// The plane without what is larger than a few blocks.
Plane textureOf(const Plane& plane);

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

inline constexpr int kTile = 8;
inline constexpr int kTilesAcross = (kColumns + kTile - 1) / kTile;
inline constexpr int kTilesDown = (kRows + kTile - 1) / kTile;

/// How well the textures of both pictures agree, tile by tile, -1..1; none where there is too
/// little texture, or too little of the tile in both.
using Agreement = std::array<std::optional<double>, kTilesAcross * kTilesDown>;

inline std::size_t tileOf(int x, int y) {
    return static_cast<std::size_t>(y / kTile * kTilesAcross + x / kTile);
}

Agreement agreementOf(const Plane& from, const Plane& to, const Motion& motion);

/// The mean over the better half of the tiles, 0..1. None for few tiles.
std::optional<double> likenessOf(const Agreement& agreement);

} // namespace tintwell::steady
