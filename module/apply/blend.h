#pragma once

// Mixes the corrected frame back towards the untouched input. Colour is weighted by alpha, so that
// a transparent pixel lends no colour to the result.

#include "module/frame/interleaved_frame.h"
#include "module/interface/error_codes.h"

namespace tintwell {

/// Weight of the original: 0 is all corrected, kFullBlend all original; clamped to that range.
inline constexpr std::int32_t kFullBlend = 0x10000;

/// `channelOrder` is 0 for A,R,G,B and 1 for B,G,R,A pixels. `destination` may be `corrected`.
/// Returns 512 when original or destination is missing, when any of the three has no data, or when
/// original or destination is smaller than or of another depth than corrected; 10002 for any other
/// channel order. Nothing is written in these cases.
ErrorCode blendWithOriginal(const InterleavedFrame& corrected, const InterleavedFrame* original,
                            std::int32_t weight, std::int32_t channelOrder,
                            const InterleavedFrame* destination);

} // namespace tintwell
