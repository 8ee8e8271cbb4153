#pragma once

#include "scenery.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace tintwell::bench {

/// What a frame's truth became, channel by channel: the output for each level of the truth, as a
/// line with a knot every sixteen levels fits it best.
struct ToneCurves {
    ToneCurves(const Picture& truth, const Picture& output);

    std::array<std::array<double, 256>, 3> outputs{};
    std::array<std::array<std::uint32_t, 256>, 3> pixels{};
};

/// How much the curves of a clip change, in levels of 255.
class CurveChanges {
public:
    /// Frames in order. Changes across the beginning of a shot do not count.
    void add(ToneCurves curves, bool beginsShot);

    double jitter() const { return jitterPairs_ > 0 ? jitter_ / jitterPairs_ : 0.0; }

    double shake() const { return shakePairs_ > 0 ? shake_ / shakePairs_ : 0.0; }

private:
    std::vector<ToneCurves> shot_; ///< its last two
    double jitter_ = 0.0;
    double shake_ = 0.0;
    double jitterPairs_ = 0.0;
    double shakePairs_ = 0.0;
};

} // namespace tintwell::bench
