#pragma once

// The transcendental functions the effect's results depend on, in one place: a platform whose
// mathematics library rounds them differently shows in the one test of this header.

#include <cmath>

namespace tintwell::real {

inline double pow(double base, double exponent) {
    return std::pow(base, exponent);
}

inline double exp(double value) {
    return std::exp(value);
}

inline double log(double value) {
    return std::log(value);
}

} // namespace tintwell::real
