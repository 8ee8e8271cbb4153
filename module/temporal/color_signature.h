#pragma once

// A coarse picture of a frame's colours: how many pixels fall into each of 512 boxes, three bits of
// red, green and blue each. Consecutive frames of one scene have near signatures.

#include "module/frame/interleaved_frame.h"
#include "module/interface/error_codes.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tintwell {

struct ColorSignature {
    static constexpr std::size_t kBinCount = 512;
    std::array<std::uint32_t, kBinCount> counts{}; ///< red is the highest three bits of the index

    bool operator==(const ColorSignature&) const = default;
};

/// Counts every pixel of the frame. `channelOrder` is 0 for A,R,G,B and 1 for B,G,R,A; any other
/// gives 10002, a depth other than 8 and 16 gives 10003, and the signature is left cleared.
ErrorCode buildSignature(const InterleavedFrame& frame, std::int32_t channelOrder,
                         ColorSignature& signature);

/// Sum of the distances of the counts: 0 for equal signatures, two for each pixel that moved.
double signatureDifference(const ColorSignature& a, const ColorSignature& b);

/// Pixels counted.
std::uint32_t signatureTotal(const ColorSignature& signature);

} // namespace tintwell
