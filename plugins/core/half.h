#pragma once

#include <bit>
#include <cstdint>

namespace tintwell::plugins {

/// The number that a 16-bit float is; every one of them is a 32-bit float as well.
inline float floatOfHalf(std::uint16_t half) {
    const std::uint32_t sign = static_cast<std::uint32_t>(half & 0x8000U) << 16U;
    const std::uint32_t exponent = half >> 10U & 31U;
    const std::uint32_t fraction = half & 0x3ffU;
    if (exponent == 0) { // zero, or fraction times 2^-24
        const float magnitude = static_cast<float>(fraction) * 0x1p-24F;
        return sign != 0 ? -magnitude : magnitude;
    }
    const std::uint32_t wide = exponent == 31 ? 255U : exponent + 112U;
    return std::bit_cast<float>(sign | wide << 23U | fraction << 13U);
}

/// The nearest 16-bit float, halves to even. Too large a number becomes infinite, and not-a-number
/// stays that.
inline std::uint16_t halfOfFloat(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    const auto sign = static_cast<std::uint16_t>(bits >> 16U & 0x8000U);
    const std::uint32_t magnitude = bits & 0x7fffffffU;
    if (magnitude > 0x7f800000U) {
        return static_cast<std::uint16_t>(sign | 0x7e00U);
    }
    if (magnitude >= 0x477ff000U) { // 65520 and above round to infinity
        return static_cast<std::uint16_t>(sign | 0x7c00U);
    }
    if (magnitude < 0x38800000U) { // below 2^-14: adding 1/2 leaves the fraction in the low bits
        const float shifted = std::bit_cast<float>(magnitude) + 0.5F;
        return static_cast<std::uint16_t>(sign |
                                          (std::bit_cast<std::uint32_t>(shifted) - 0x3f000000U));
    }
    const std::uint32_t odd = magnitude >> 13U & 1U;
    const std::uint32_t rounded = magnitude - 0x38000000U + 0xfffU + odd;
    return static_cast<std::uint16_t>(sign | rounded >> 13U);
}

} // namespace tintwell::plugins
