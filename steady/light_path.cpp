#include "steady/light_path.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tintwell::steady {
namespace {

/// How many times its variance an error of measurement is taken for.
constexpr double kDoubt = 3.0;

/// How gains and offsets vary from frame to frame.
struct Variation {
    double gain = 0.0;   ///< variance
    double offset = 0.0; ///< variance, in levels
};

using Variations = std::array<Variation, 3>;

double offsetVariance(const LightEstimate& light) {
    return light.pivotVariance + light.pivot * light.pivot * light.gainVariance;
}

/// A mean in which what is measured well counts more.
class VarianceSum {
public:
    void add(double change, double errorVariance, double weight) {
        constexpr double kNothing = 1e-12;
        weight /= errorVariance + kNothing;
        sum_ += weight * (change * change - kDoubt * errorVariance);
        weights_ += weight;
    }

    /// What the errors do not explain.
    double variance() const { return weights_ > 0.0 ? std::max(0.0, sum_ / weights_) : 0.0; }

private:
    double sum_ = 0.0;
    double weights_ = 0.0;
};

Variations variationsOf(std::span<const ScenePlace> places,
                        const std::vector<Neighbour>& neighbours) {
    Variations variations;
    for (std::size_t c = 0; c < variations.size(); ++c) {
        VarianceSum gains;
        VarianceSum offsets;
        for (std::size_t i = 1; i < neighbours.size(); ++i) {
            if (const auto* light = places[neighbours[i].index].light) {
                const LightEstimate& estimate = (*light)[c];
                const double weight = neighbours[i].weight;
                gains.add(estimate.map.gain - 1.0, estimate.gainVariance, weight);
                offsets.add(estimate.map.offset, offsetVariance(estimate), weight);
            }
        }
        variations[c] = {gains.variance(), offsets.variance()};
    }
    return variations;
}

/// The likeliest change: a normal distribution around none with the variation, and another one
/// around what was measured.
LightMap likeliest(const LightEstimate& light, const Variation& variation) {
    const double a = variation.gain + light.gainVariance;
    const double b = -light.pivot * light.gainVariance;
    const double d = variation.offset + offsetVariance(light);
    const double determinant = a * d - b * b;
    if (!(determinant > 0.0)) {
        return {};
    }
    const double gain = light.map.gain - 1.0;
    const double offset = light.map.offset;
    constexpr double kMost = 8.0; // light that can be followed at all
    return {std::clamp(1.0 + variation.gain * (d * gain - b * offset) / determinant, 1.0 / kMost,
                       kMost),
            variation.offset * (a * offset - b * gain) / determinant};
}

std::array<LightMap, 3> followed(const ScenePlace& place, const Variations& variations) {
    std::array<LightMap, 3> maps;
    for (std::size_t c = 0; place.light != nullptr && c < maps.size(); ++c) {
        maps[c] = likeliest((*place.light)[c], variations[c]);
    }
    return maps;
}

std::vector<Neighbour> sceneAround(std::span<const FrameFacts> frames,
                                   std::span<const ScenePlace> places, std::size_t index,
                                   double time, double seconds) {
    constexpr double kLeastWeight = 1e-6;
    const auto weightOf = [&](std::size_t frame) {
        const double share = std::abs(frames[frame].seconds - time) / seconds;
        return share < 1.0 ? 0.5 + 0.5 * std::cos(std::numbers::pi * share) : 0.0;
    };
    std::size_t begin = index;
    while (begin > 0 && !places[begin].startsScene && weightOf(begin - 1) > 0.0) {
        --begin;
    }
    std::vector<Neighbour> neighbours;
    for (std::size_t i = begin; i < frames.size(); ++i) {
        const double weight = i == index ? std::max(weightOf(i), kLeastWeight) : weightOf(i);
        if (i > index && (places[i].startsScene || weight <= 0.0)) {
            break;
        }
        neighbours.push_back({i, weight, {}});
    }
    return neighbours;
}

} // namespace

std::vector<Neighbour> neighboursOf(std::span<const FrameFacts> frames,
                                    std::span<const ScenePlace> places, std::size_t index,
                                    double time, double seconds) {
    std::vector<Neighbour> neighbours = sceneAround(frames, places, index, time, seconds);
    const Variations variations = variationsOf(places, neighbours);
    const std::size_t middle = index - neighbours.front().index;
    for (std::size_t i = middle; i > 0; --i) {
        const auto step = followed(places[neighbours[i].index], variations);
        for (std::size_t c = 0; c < step.size(); ++c) {
            neighbours[i - 1].toHere[c] = composed(neighbours[i].toHere[c], step[c]);
        }
    }
    for (std::size_t i = middle + 1; i < neighbours.size(); ++i) {
        const auto step = followed(places[neighbours[i].index], variations);
        for (std::size_t c = 0; c < step.size(); ++c) {
            neighbours[i].toHere[c] = composed(neighbours[i - 1].toHere[c], inverse(step[c]));
        }
    }
    return neighbours;
}

} // namespace tintwell::steady
