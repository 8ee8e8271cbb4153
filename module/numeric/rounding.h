#pragma once

// Conversions from real numbers to whole ones. Results are part of what the effect promises, so
// each rounding word is a function of that name. Not-a-number becomes 0 everywhere.

#include <cmath>
#include <cstdint>
#include <limits>

namespace tintwell {

/// Toward zero; clamped to the signed 32-bit range.
inline std::int32_t truncateToInt32(double value) {
    constexpr double kLowest = std::numeric_limits<std::int32_t>::min();
    constexpr double kHighest = std::numeric_limits<std::int32_t>::max();
    if (std::isnan(value)) {
        return 0;
    }
    if (value <= kLowest) {
        return std::numeric_limits<std::int32_t>::min();
    }
    if (value >= kHighest) {
        return std::numeric_limits<std::int32_t>::max();
    }
    return static_cast<std::int32_t>(value);
}

/// To the nearest whole number, halves away from zero; clamped to the signed 32-bit range.
inline std::int32_t nearest(double value) {
    return truncateToInt32(value >= 0.0 ? std::floor(value + 0.5) : -std::floor(0.5 - value));
}

template <class Integer>
constexpr Integer clampTo(std::int32_t value, Integer lowest, Integer highest) {
    if (value < lowest) {
        return lowest;
    }
    return value > highest ? highest : static_cast<Integer>(value);
}

/// nearest(), clamped to the signed 16-bit range.
inline std::int16_t nearestInt16(double value) {
    return clampTo(nearest(value), std::numeric_limits<std::int16_t>::min(),
                   std::numeric_limits<std::int16_t>::max());
}

/// nearest(), clamped to the levels 0..255.
inline std::uint8_t nearestLevel(double value) {
    return clampTo<std::uint8_t>(nearest(value), 0, 255);
}

} // namespace tintwell
