#include "tone_curves.h"

#include <algorithm>
#include <cmath>

namespace tintwell::bench {
namespace {

/// Fewer pixels of a level tell little of what became of it.
constexpr std::uint32_t kFewPixels = 40;

/// The mean of |value(c, level)| over the levels that all frames show.
template <class Value>
double meanOver(const std::vector<ToneCurves>& frames, Value value) {
    double sum = 0.0;
    double count = 0.0;
    for (std::size_t c = 0; c < 3; ++c) {
        for (std::size_t level = 0; level < 256; ++level) {
            const bool shown = std::ranges::all_of(frames, [&](const ToneCurves& curves) {
                return curves.pixels[c][level] >= kFewPixels;
            });
            if (shown) {
                sum += std::abs(value(c, level));
                count += 1.0;
            }
        }
    }
    return count > 0.0 ? sum / count : 0.0;
}

constexpr std::size_t kKnotStep = 16;
constexpr std::size_t kKnots = 256 / kKnotStep + 1;

/// The least squares of a line with knots: each point lies between two of them, so that the
/// equations have three diagonals.
class KnotFit {
public:
    void add(double truth, double output) {
        const auto knot = static_cast<std::size_t>(truth) / kKnotStep;
        const double share = truth / kKnotStep - static_cast<double>(knot);
        own_[knot] += (1.0 - share) * (1.0 - share);
        own_[knot + 1] += share * share;
        shared_[knot] += share * (1.0 - share);
        sums_[knot] += (1.0 - share) * output;
        sums_[knot + 1] += share * output;
    }

    std::array<double, 256> fitted() {
        constexpr double kFirm = 1e-3; // for knots that no point is near
        for (double& own : own_) {
            own += kFirm;
        }
        for (std::size_t i = 1; i < kKnots; ++i) {
            const double factor = shared_[i - 1] / own_[i - 1];
            own_[i] -= factor * shared_[i - 1];
            sums_[i] -= factor * sums_[i - 1];
        }
        for (std::size_t i = kKnots; i-- > 0;) {
            const double later = i + 1 < kKnots ? shared_[i] * sums_[i + 1] : 0.0;
            sums_[i] = (sums_[i] - later) / own_[i];
        }
        std::array<double, 256> line{};
        for (std::size_t x = 0; x < line.size(); ++x) {
            line[x] = std::lerp(sums_[x / kKnotStep], sums_[x / kKnotStep + 1],
                                static_cast<double>(x % kKnotStep) / kKnotStep);
        }
        return line;
    }

private:
    std::array<double, kKnots> own_{};
    std::array<double, kKnots> shared_{}; ///< with the next
    std::array<double, kKnots> sums_{};
};

} // namespace

ToneCurves::ToneCurves(const Picture& truth, const Picture& output) {
    for (std::size_t c = 0; c < 3; ++c) {
        KnotFit fit;
        for (std::size_t i = 0; i < truth.planes[c].size(); ++i) {
            const double level = std::clamp(truth.planes[c][i], 0.0F, 255.0F);
            fit.add(level, output.planes[c][i]);
            ++pixels[c][static_cast<std::size_t>(level + 0.5)];
        }
        outputs[c] = fit.fitted();
    }
}

void CurveChanges::add(ToneCurves curves, bool beginsShot) {
    if (beginsShot) {
        shot_.clear();
    }
    shot_.push_back(std::move(curves));
    if (shot_.size() > 3) {
        shot_.erase(shot_.begin());
    }
    if (shot_.size() >= 2) {
        const auto& a = shot_[shot_.size() - 2].outputs;
        const auto& b = shot_.back().outputs;
        jitter_ += meanOver({shot_.end() - 2, shot_.end()},
                            [&](std::size_t c, std::size_t x) { return b[c][x] - a[c][x]; });
        jitterPairs_ += 1.0;
    }
    if (shot_.size() == 3) {
        const auto& a = shot_[0].outputs;
        const auto& b = shot_[1].outputs;
        const auto& d = shot_[2].outputs;
        shake_ += meanOver(
            shot_, [&](std::size_t c, std::size_t x) { return d[c][x] - 2.0 * b[c][x] + a[c][x]; });
        shakePairs_ += 1.0;
    }
}

} // namespace tintwell::bench
