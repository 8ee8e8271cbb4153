#pragma once

#include "plugins/core/half.h"
#include "plugins/core/pixel_rows.h"

#include <limits>

namespace tintwell::plugins {

/// Samples of SampleType::Float.
struct FloatSamples {
    static constexpr std::size_t kBytes = 4;

    static double load(const std::byte* at) { return static_cast<double>(loadAs<float>(at)); }

    static void store(std::byte* at, double value) { storeAs(at, rounded(value)); }

    /// Too large a number becomes infinite.
    static float rounded(double value) {
        constexpr double kLargest = std::numeric_limits<float>::max();
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        if (value > kLargest || value < -kLargest) {
            return value > 0.0 ? kInfinity : -kInfinity;
        }
        return static_cast<float>(value);
    }
};

/// Samples of SampleType::Half.
struct HalfSamples {
    static constexpr std::size_t kBytes = 2;

    static double load(const std::byte* at) {
        return static_cast<double>(floatOfHalf(loadAs<std::uint16_t>(at)));
    }

    static void store(std::byte* at, double value) {
        storeAs(at, halfOfFloat(FloatSamples::rounded(value)));
    }
};

} // namespace tintwell::plugins
