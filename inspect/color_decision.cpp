// Fits slope, offset and power by the method of Levenberg and Marquardt: steps to where the
// function, taken as linear in its three numbers, would be nearest, shortened until they help. The
// sum of squares has more than one dent, so the search starts with several powers, each with the
// line that joins the ends of what rises.

#include "inspect/color_decision.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

namespace tintwell::inspect {
namespace {

constexpr double kLeastPower = 0.01;
constexpr double kGreatestPower = 100.0;

using Row = std::array<double, 3>;

/// Sums over all entries: products of the derivatives, and of derivatives with errors.
struct NormalEquations {
    std::array<Row, 3> products{};
    Row errors{};
};

double inputOf(std::size_t entry, const std::vector<double>& table) {
    return static_cast<double>(entry) / static_cast<double>(table.size() - 1);
}

double sumOfSquares(const ColorDecision& decision, const std::vector<double>& table) {
    double sum = 0.0;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double error = table[i] - decision.at(inputOf(i, table));
        sum += error * error;
    }
    return sum;
}

NormalEquations equationsAt(const ColorDecision& decision, const std::vector<double>& table) {
    NormalEquations sums;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double input = inputOf(i, table);
        const double base = input * decision.slope + decision.offset;
        if (base <= 0.0 || base >= 1.0) {
            continue; // cut off: no small change shows
        }
        const double output = std::pow(base, decision.power);
        const double byBase = decision.power * output / base;
        const Row derivatives{byBase * input, byBase, output * std::log(base)};
        for (std::size_t r = 0; r < 3; ++r) {
            for (std::size_t c = 0; c < 3; ++c) {
                sums.products[r][c] += derivatives[r] * derivatives[c];
            }
            sums.errors[r] += derivatives[r] * (table[i] - output);
        }
    }
    return sums;
}

/// Solves products * x = errors with the diagonal raised by `damping`, which makes it solvable.
Row solve(NormalEquations equations, double damping) {
    constexpr double kFloor = 1e-12;
    auto& [rows, right] = equations;
    for (std::size_t r = 0; r < 3; ++r) {
        rows[r][r] += damping * rows[r][r] + kFloor;
    }
    for (std::size_t pivot = 0; pivot < 3; ++pivot) {
        for (std::size_t r = pivot + 1; r < 3; ++r) {
            const double factor = rows[r][pivot] / rows[pivot][pivot];
            for (std::size_t c = pivot; c < 3; ++c) {
                rows[r][c] -= factor * rows[pivot][c];
            }
            right[r] -= factor * right[pivot];
        }
    }
    Row x{};
    for (std::size_t r = 3; r-- > 0;) {
        double rest = right[r];
        for (std::size_t c = r + 1; c < 3; ++c) {
            rest -= rows[r][c] * x[c];
        }
        x[r] = rest / rows[r][r];
    }
    return x;
}

ColorDecision refine(ColorDecision decision, const std::vector<double>& table) {
    constexpr int kMostSteps = 200;
    constexpr double kMostDamping = 1e9;
    constexpr double kEnough = 1e-12; // smaller gains do not show in the decimals
    double error = sumOfSquares(decision, table);
    double damping = 1e-3;
    for (int step = 0; step < kMostSteps && damping < kMostDamping; ++step) {
        const Row change = solve(equationsAt(decision, table), damping);
        const ColorDecision next = {
            std::max(decision.slope + change[0], 0.0), decision.offset + change[1],
            std::clamp(decision.power + change[2], kLeastPower, kGreatestPower)};
        const double nextError = sumOfSquares(next, table);
        if (!(nextError < error)) {
            damping *= 10.0;
            continue;
        }
        const bool done = error - nextError < kEnough * error;
        decision = next;
        error = nextError;
        damping = std::max(damping * 0.1, 1e-12);
        if (done) {
            break;
        }
    }
    return decision;
}

/// Joins the ends of the part of the table that rises, before the power is taken.
ColorDecision startWith(double power, const std::vector<double>& table) {
    std::size_t low = 0;
    std::size_t high = table.size() - 1;
    while (low < high && table[low + 1] <= table.front()) {
        ++low;
    }
    while (high > low && table[high - 1] >= table.back()) {
        --high;
    }
    if (high == low) { // flat or falling, which no decision is: all that fits is a constant
        const double mean =
            std::accumulate(table.begin(), table.end(), 0.0) / static_cast<double>(table.size());
        return {0.0, std::pow(mean, 1.0 / power), power};
    }
    const double lowBase = std::pow(table[low], 1.0 / power);
    const double highBase = std::pow(table[high], 1.0 / power);
    const double slope =
        std::max((highBase - lowBase) / (inputOf(high, table) - inputOf(low, table)), 0.0);
    return {slope, lowBase - slope * inputOf(low, table), power};
}

ColorDecision rounded(const ColorDecision& decision) {
    const double scale = std::pow(10.0, kDecisionDecimals);
    const auto round = [scale](double value) { return std::round(value * scale) / scale; };
    return {round(decision.slope), round(decision.offset), round(decision.power)};
}

} // namespace

double ColorDecision::at(double input) const {
    return std::pow(std::clamp(input * slope + offset, 0.0, 1.0), power);
}

ColorDecision fitDecision(const std::vector<double>& table) {
    ColorDecision best;
    double least = std::numeric_limits<double>::infinity();
    for (const double power : {1.0, 0.5, 2.0}) {
        const ColorDecision decision = refine(startWith(power, table), table);
        const double error = sumOfSquares(decision, table);
        if (error < least) {
            best = decision;
            least = error;
        }
    }
    return rounded(best);
}

double largestError(const ColorDecision& decision, const std::vector<double>& table) {
    double largest = 0.0;
    for (std::size_t i = 0; i < table.size(); ++i) {
        largest = std::max(largest, std::abs(table[i] - decision.at(inputOf(i, table))));
    }
    return largest;
}

} // namespace tintwell::inspect
