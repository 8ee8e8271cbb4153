#pragma once

#include "plugins/core/half.h"

#include <cstddef>
#include <cstring>
#include <limits>

namespace tintwell::plugins {

/// Samples of SampleType::Float.
struct FloatSamples {
    static double load(const std::byte* at) {
        float value;
        std::memcpy(&value, at, sizeof value);
        return static_cast<double>(value);
    }

    static void store(std::byte* at, double value) {
        const float sample = rounded(value);
        std::memcpy(at, &sample, sizeof sample);
    }

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
    static double load(const std::byte* at) {
        std::uint16_t bits;
        std::memcpy(&bits, at, sizeof bits);
        return static_cast<double>(floatOfHalf(bits));
    }

    static void store(std::byte* at, double value) {
        const std::uint16_t sample = halfOfFloat(FloatSamples::rounded(value));
        std::memcpy(at, &sample, sizeof sample);
    }
};

} // namespace tintwell::plugins
