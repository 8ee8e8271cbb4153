#pragma once

#include <cstdint>

namespace tintwell {

/// Bytes of a sample of 16 bits or of 8, which any other depth counts as.
constexpr std::int32_t sampleBytes(int bitDepth) {
    return bitDepth == 16 ? 2 : 1;
}

} // namespace tintwell
