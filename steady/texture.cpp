#include "steady/texture.h"

#include <functional>
#include <numeric>
#include <vector>

namespace tintwell::steady {
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

Agreement agreementOf(const Plane& from, const Plane& to, const Motion& motion) {
    constexpr double kTexture = 0.5; // the least variance of a tile that tells anything
    std::array<Correlation, kTilesAcross * kTilesDown> sums;
    forEachBlock([&](int x, int y) {
        const Place before = placeOf(motion, x, y, -0.5);
        const Place after = placeOf(motion, x, y, 0.5);
        if (before.isInside() && after.isInside()) {
            sums[tileOf(x, y)].add(sampleAt(from, before).value, sampleAt(to, after).value);
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

} // namespace tintwell::steady
