#pragma once

// The scales of samples: levels and 8-bit samples run from 0 to 255, 16-bit samples from 0 to
// 32768. The functions have internal linkage so that a copy compiled for a newer processor never
// replaces the one that older processors run.

#include <cstdint>

namespace tintwell {

static constexpr int kTopLevel = 255;

/// The level of a sample. The host never delivers 16-bit samples above 32768; their level wraps.
static constexpr std::uint8_t levelOf(std::uint8_t sample) {
    return sample;
}

static constexpr std::uint8_t levelOf(std::uint16_t sample) {
    return static_cast<std::uint8_t>((sample * 255U + 16384U) >> 15U);
}

} // namespace tintwell
