#include "module/temporal/analysis_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <set>
#include <vector>

namespace tintwell {
namespace {

constexpr auto kMode = AutoCorrectionMode::ColorSearch;
constexpr std::ptrdiff_t kRowBytes = 160;
constexpr std::ptrdiff_t kUsedBytes = 37 * 4; // more than two blocks of the hash

using Bytes = std::vector<std::byte>;

InterleavedFrame frameOf(Bytes& bytes) {
    return {bytes.data(), kRowBytes, 37, 3, 8};
}

TEST(AnalysisKey, TellsFramesApartThatDifferInHighestBits) {
    for (const std::byte level : {std::byte{0}, std::byte{0x7f}, std::byte{0xff}}) {
        Bytes bytes(3 * kRowBytes, level);
        std::set<std::array<std::uint64_t, 2>> keys;
        for (std::ptrdiff_t i = 0; i < kUsedBytes; ++i) {
            for (std::ptrdiff_t j = i; j < kUsedBytes; ++j) {
                Bytes changed = bytes;
                changed[static_cast<std::size_t>(kRowBytes + i)] ^= std::byte{0x80};
                changed[static_cast<std::size_t>(kRowBytes + j)] ^= std::byte{0x80};
                keys.insert(std::bit_cast<std::array<std::uint64_t, 2>>(
                    AnalysisKey(frameOf(changed), 0, kMode)));
            }
        }
        // Where i is j nothing is changed.
        EXPECT_EQ(keys.size(), kUsedBytes * (kUsedBytes - 1) / 2 + 1);
    }
}

TEST(AnalysisKey, RemembersARowWhateverAWordOfItIs) {
    // A lane multiplies by the difference of its second word to this one.
    const std::uint64_t mask = 0x452821e638d01377U;
    for (const std::uint64_t factor : {std::uint64_t{0}, std::uint64_t{1}, ~std::uint64_t{0}}) {
        Bytes bytes(3 * kRowBytes);
        const std::uint64_t word = mask ^ factor;
        std::memcpy(bytes.data() + 72, &word, sizeof(word)); // in the lane's second block
        const AnalysisKey key(frameOf(bytes), 0, kMode);
        for (const std::size_t earlier : {0U, 8U, 64U}) {
            Bytes changed = bytes;
            changed[earlier] ^= std::byte{1};
            EXPECT_NE(key, AnalysisKey(frameOf(changed), 0, kMode)) << earlier;
        }
    }
}

TEST(AnalysisKey, DependsOnOrderLayoutAndModeButNotOnPadding) {
    Bytes bytes(3 * kRowBytes);
    std::generate(bytes.begin(), bytes.end(), [i = 0]() mutable { return std::byte(i++ % 251); });
    const AnalysisKey key(frameOf(bytes), 0, kMode);
    EXPECT_NE(key, AnalysisKey(frameOf(bytes), 1, kMode));
    EXPECT_NE(key, AnalysisKey(frameOf(bytes), 0, AutoCorrectionMode::PerChannelContrast));
    Bytes swapped = bytes;
    std::swap_ranges(swapped.begin(), swapped.begin() + kUsedBytes, swapped.begin() + kRowBytes);
    EXPECT_NE(key, AnalysisKey(frameOf(swapped), 0, kMode));
    EXPECT_NE(AnalysisKey({bytes.data(), 8, 2, 4, 8}, 0, kMode),
              AnalysisKey({bytes.data(), 16, 4, 2, 8}, 0, kMode));
    EXPECT_NE(AnalysisKey({bytes.data(), 16, 4, 2, 8}, 0, kMode),
              AnalysisKey({bytes.data(), 16, 2, 2, 16}, 0, kMode));
    EXPECT_NE(AnalysisKey({nullptr, 0, 0, 0, 8}, 0, kMode), AnalysisKey{});
    bytes[kUsedBytes] ^= std::byte{1};
    bytes.back() ^= std::byte{1};
    EXPECT_EQ(key, AnalysisKey(frameOf(bytes), 0, kMode));
}

} // namespace
} // namespace tintwell
