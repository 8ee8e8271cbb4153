#pragma once

#include "module/apply/levels_tables.h"

#include <array>

namespace tintwell::plugins {

/// A channel's levels as a function of real numbers. From 0 to 1 it is the module's table for
/// 16-bit samples, with straight lines between its entries; beyond them a value keeps its distance
/// from the end: 1.5 becomes what 1 becomes, and 0.5 more. So highlights above white stay apart,
/// infinite numbers stay infinite, and not-a-number stays that.
class LevelCurve {
public:
    /// The table serves 16-bit samples.
    explicit LevelCurve(const LevelsTable& table);

    double operator()(double value) const {
        if (value >= 1.0) {
            return outputs_.back() + (value - 1.0);
        }
        if (!(value > 0.0)) {
            return outputs_.front() + value;
        }
        const double position = value * kSteps;
        const auto entry = static_cast<std::size_t>(position);
        return outputs_[entry] +
               (position - static_cast<double>(entry)) * (outputs_[entry + 1] - outputs_[entry]);
    }

private:
    static constexpr std::size_t kSteps = LevelsTable::kDeepSize - 1;

    std::array<double, LevelsTable::kDeepSize> outputs_{};
};

} // namespace tintwell::plugins
