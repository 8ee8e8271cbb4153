#pragma once

#include <vector>

namespace tintwell::inspect {

/// One channel of an ASC colour decision: what is in becomes (in * slope + offset) ^ power, inputs,
/// outputs and what is raised to the power from 0 to 1.
struct ColorDecision {
    double slope = 1.0; ///< at least 0
    double offset = 0.0;
    double power = 1.0; ///< above 0

    double at(double input) const;
};

inline constexpr int kDecisionDecimals = 6;

/// The decision that comes nearest to a table of outputs for evenly spaced inputs, by the sum of
/// the squares of its errors. The numbers have kDecisionDecimals decimals.
ColorDecision fitDecision(const std::vector<double>& table);

/// By how much the decision is wrong where it is wrong most, of 1.
double largestError(const ColorDecision& decision, const std::vector<double>& table);

} // namespace tintwell::inspect
