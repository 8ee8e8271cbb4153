#include "module/temporal/analysis_key.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace tintwell {
namespace {

// Digits of pi, so that no bit of them is chosen.
constexpr std::array<std::uint64_t, 4> kSeeds = {0x243f6a8885a308d3U, 0x13198a2e03707344U,
                                                 0xa4093822299f31d0U, 0x082efa98ec4e6c89U};
constexpr std::uint64_t kMask = 0x452821e638d01377U;
constexpr std::uint64_t kFirstFactor = 0xbe5466cf34e90c6dU;
constexpr std::uint64_t kSecondFactor = 0xc0ac29b7c97c50ddU;

/// The two halves of the product in one: every bit of either factor takes part in every bit of it,
/// the highest too, which in the lower half alone would reach the highest bit only. The factors are
/// added, or a factor of 0 would make one result of all others; now no value of a factor does.
std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) {
#ifdef __SIZEOF_INT128__
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(a) * b;
    return (static_cast<std::uint64_t>(product) + a + b) ^
           static_cast<std::uint64_t>(product >> 64U);
#else
    constexpr std::uint64_t kLow = 0xffffffffU;
    const std::uint64_t low = (a & kLow) * (b & kLow);
    const std::uint64_t cross = (a >> 32U) * (b & kLow) + (low >> 32U);
    const std::uint64_t middle = (a & kLow) * (b >> 32U) + (cross & kLow);
    const std::uint64_t high = (a >> 32U) * (b >> 32U) + (cross >> 32U) + (middle >> 32U);
    return (a * b + a + b) ^ high;
#endif
}

std::uint64_t wordAt(const std::byte* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

/// Lanes that do not wait for each other, each of which takes two words of every block.
using Lanes = std::array<std::uint64_t, kSeeds.size()>;
constexpr std::size_t kLaneBytes = 2 * sizeof(std::uint64_t);
constexpr std::size_t kBlockBytes = kLaneBytes * kSeeds.size();

void absorb(Lanes& lanes, const std::byte* block) {
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        const std::byte* words = block + i * kLaneBytes;
        lanes[i] =
            foldedProduct(lanes[i] ^ wordAt(words), kMask ^ wordAt(words + sizeof(std::uint64_t)));
    }
}

Lanes lanesOf(const std::byte* row, std::size_t bytes) {
    Lanes lanes = kSeeds;
    std::size_t done = 0;
    for (; bytes - done >= kBlockBytes; done += kBlockBytes) {
        absorb(lanes, row + done);
    }
    if (done < bytes) {
        std::array<std::byte, kBlockBytes> rest{};
        std::memcpy(rest.data(), row + done, bytes - done);
        absorb(lanes, rest.data());
    }
    return lanes;
}

} // namespace

AnalysisKey::AnalysisKey(const InterleavedFrame& frame, std::int32_t channelOrder,
                         AutoCorrectionMode mode) {
    const auto mix = [this](std::uint64_t word) {
        first_ = foldedProduct(first_ ^ word, kFirstFactor);
        second_ = foldedProduct(second_ ^ word, kSecondFactor);
    };
    for (const std::int32_t property : {frame.width, frame.height, std::int32_t{frame.bitDepth},
                                        channelOrder, static_cast<std::int32_t>(mode)}) {
        mix(kMask ^ static_cast<std::uint32_t>(property));
    }
    for (std::int32_t y = 0; y < frame.rows(); ++y) {
        for (const std::uint64_t lane : lanesOf(frame.row(y), frame.pixelBytes())) {
            mix(lane);
        }
    }
    second_ |= 1U;
}

} // namespace tintwell
