#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace tintwell {

/// The nearest 32-bit number: frame arithmetic saturates, it does not overflow.
constexpr std::int32_t saturate(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(
        value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

/// Division toward zero; a divisor of 0 counts as 1.
constexpr std::int32_t divideTime(std::int32_t time, std::int64_t step) {
    return saturate(std::int64_t{time} / (step == 0 ? 1 : step));
}

/// Frame index of a time: negative steps count frames as positive ones do.
constexpr std::int32_t frameAt(std::int32_t time, std::int32_t timeStep) {
    return divideTime(time, timeStep < 0 ? -std::int64_t{timeStep} : std::int64_t{timeStep});
}

} // namespace tintwell
