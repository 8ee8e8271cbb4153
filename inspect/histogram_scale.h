#pragma once

#include "module/counting/level_counter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tintwell::inspect {

/// How high counts are drawn in histograms that are to be compared: as square roots, so that rare
/// levels show beside frequent ones. The ends take no part in what fills the height: clipping piles
/// up there what would press all else flat.
class HistogramScale {
public:
    void include(const LevelCounts& counts) {
        greatest_ =
            std::max<double>(greatest_, *std::max_element(counts.begin() + 1, counts.end() - 1));
    }

    /// 0 to 1.
    double heightOf(std::uint32_t count) const {
        return std::min(1.0, std::sqrt(count / greatest_));
    }

private:
    double greatest_ = 1.0;
};

} // namespace tintwell::inspect
