// Logarithm and exponential by table and short series. Where rounding would show, a number is
// carried as an unevaluated sum of two doubles, by the classic error-free sum (Knuth) and product
// (Dekker, Veltkamp). There is no fused multiply-add: not every processor has one. The tables are
// made by the compiler from the series that define them.

#include "module/numeric/real_functions.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace tintwell::real {
namespace {

/// The sum of two doubles, the second at most about the rounding error of the first.
struct Wide {
    double high;
    double low;
};

constexpr Wide exactSum(double a, double b) {
    const double sum = a + b;
    const double ofB = sum - a;
    return {sum, (a - (sum - ofB)) + (b - ofB)};
}

/// Two parts of at most 26 significant bits each. The value is below 2^996.
constexpr Wide split(double value) {
    const double scaled = value * 0x1.0000002p27;
    const double high = scaled - (scaled - value);
    return {high, value - high};
}

constexpr Wide exactProduct(double a, double b) {
    const Wide x = split(a);
    const Wide y = split(b);
    const double product = a * b;
    return {product,
            ((x.high * y.high - product) + x.high * y.low + x.low * y.high) + x.low * y.low};
}

constexpr Wide add(const Wide& a, const Wide& b) {
    const Wide sum = exactSum(a.high, b.high);
    return exactSum(sum.high, sum.low + (a.low + b.low));
}

constexpr Wide multiply(const Wide& a, const Wide& b) {
    const Wide product = exactProduct(a.high, b.high);
    return exactSum(product.high, product.low + (a.high * b.low + a.low * b.high));
}

constexpr Wide divide(const Wide& a, double b) {
    const double quotient = a.high / b;
    const Wide back = exactProduct(quotient, b);
    return exactSum(quotient, (((a.high - back.high) - back.low) + a.low) / b);
}

/// -log(x) = 2 artanh(t) for t = (1 - x) / (1 + x), by the series t + t^3/3 + t^5/5 ...; x is short
/// enough that 1 - x and 1 + x are exact, and from 1/2 to 2.
constexpr Wide negativeLog(double x) {
    const Wide t = divide({1.0 - x, 0.0}, 1.0 + x);
    const Wide square = multiply(t, t);
    Wide sum = {0.0, 0.0};
    for (int n = 71; n > 0; n -= 2) {
        sum = add(multiply(sum, square), divide({2.0, 0.0}, n));
    }
    return multiply(sum, t);
}

/// The multiple of a power of two that is nearest to a value below 2^51 of them.
constexpr double nearestMultiple(double value, double unit) {
    const double align = unit * 0x1.8p52; // the last bit of sums of its size is the unit
    return (value + align) - align;
}

/// With a first part so short that for values below 1 its product with 17 bits is exact.
constexpr Wide shortFirst(const Wide& value) {
    const double first = nearestMultiple(value.high, 0x1p-35);
    return {first, (value.high - first) + value.low};
}

constexpr Wide kLn2 = negativeLog(0.5);
constexpr Wide kLn2ShortFirst = shortFirst(kLn2);

/// A reciprocal of ten bits, and minus its logarithm: that of the number it is the reciprocal of.
struct LogPoint {
    double reciprocal;
    Wide log;
};

// Mantissas run from the square root of 1/2 to that of 2; the points are 1/128 apart.
constexpr double kLogPointsPerUnit = 128.0;
constexpr int kFirstLogPoint = 91;
constexpr int kLogPointCount = 91;

constexpr auto kLogPoints = [] {
    std::array<LogPoint, kLogPointCount> points{};
    for (int i = 0; i < kLogPointCount; ++i) {
        const double center = (kFirstLogPoint + i) / kLogPointsPerUnit;
        const double reciprocal = nearestMultiple(1.0 / center, 0x1p-9);
        points[static_cast<std::size_t>(i)] = {reciprocal, negativeLog(reciprocal)};
    }
    return points;
}();

/// For finite values above 0.
Wide wideLog(double value) {
    int exponent = 0;
    double mantissa = std::frexp(value, &exponent);
    if (mantissa < 0x1.6a09e667f3bcdp-1) {
        mantissa *= 2.0;
        --exponent;
    }
    const int index =
        static_cast<int>(nearestMultiple(mantissa * kLogPointsPerUnit, 1.0)) - kFirstLogPoint;
    const LogPoint& point = kLogPoints[static_cast<std::size_t>(index)];
    // What is left is exact: each part has 26 bits, and the reciprocal ten.
    const Wide parts = split(mantissa);
    const Wide rest = exactSum(parts.high * point.reciprocal - 1.0, parts.low * point.reciprocal);
    const double r = rest.high; // at most 0.0075 in size
    const double cubes =
        r * r * r *
        (1.0 / 3 +
         r * (-1.0 / 4 +
              r * (1.0 / 5 +
                   r * (-1.0 / 6 +
                        r * (1.0 / 7 + r * (-1.0 / 8 + r * (1.0 / 9 + r * (-1.0 / 10))))))));
    const Wide square = exactProduct(r, r);
    const Wide ofPowers = {exponent * kLn2ShortFirst.high, exponent * kLn2ShortFirst.low};
    const Wide linear = add(add(ofPowers, point.log), rest);
    return add(linear, {-0.5 * square.high, cubes - 0.5 * square.low - r * rest.low});
}

// The exponential is a power of two, times one of these roots of two, times e to a small rest.
constexpr int kRootCount = 64;
constexpr Wide kRootLog = {kLn2.high / kRootCount, kLn2.low / kRootCount};
constexpr double kRootsPerUnit = 1.0 / kRootLog.high;

constexpr auto kRoots = [] {
    Wide first = {1.0, 0.0};
    for (int n = 16; n > 0; --n) {
        first = add(divide(multiply(first, kRootLog), n), {1.0, 0.0});
    }
    std::array<Wide, kRootCount> roots{};
    roots[0] = {1.0, 0.0};
    for (std::size_t i = 1; i < roots.size(); ++i) {
        roots[i] = multiply(roots[i - 1], first);
    }
    return roots;
}();

double expOf(const Wide& value) {
    if (value.high > 710.0) {
        return std::numeric_limits<double>::infinity();
    }
    if (value.high < -746.0) {
        return 0.0;
    }
    const int whole = static_cast<int>(nearestMultiple(value.high * kRootsPerUnit, 1.0));
    const int root = whole & (kRootCount - 1);
    const int power = (whole - root) / kRootCount;
    const double share = whole * (1.0 / kRootCount); // exact, of 17 bits
    const double r = (value.high - share * kLn2ShortFirst.high) +
                     (value.low - share * kLn2ShortFirst.low); // at most 0.0055 in size
    const double series =
        r + r * r * (1.0 / 2 + r * (1.0 / 6 + r * (1.0 / 24 + r * (1.0 / 120 + r / 720))));
    const Wide& base = kRoots[static_cast<std::size_t>(root)];
    return std::ldexp(base.high + (base.low + base.high * series), power);
}

} // namespace

double pow(double base, double exponent) {
    if (base == 0.0 || base == 1.0) {
        return base;
    }
    const Wide logarithm = wideLog(base);
    const double product = exponent * logarithm.high;
    if (!(std::abs(product) < 1000.0)) {
        return std::isnan(product) ? product : expOf({product, 0.0});
    }
    const Wide exact = exactProduct(exponent, logarithm.high);
    return expOf({exact.high, exact.low + exponent * logarithm.low});
}

double exp(double value) {
    return std::isnan(value) ? value : expOf({value, 0.0});
}

double log(double value) {
    if (std::isnan(value) || value < 0.0) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (value == 0.0) {
        return -std::numeric_limits<double>::infinity();
    }
    return std::isinf(value) ? value : wideLog(value).high;
}

} // namespace tintwell::real
