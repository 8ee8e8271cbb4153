#include "module/counting/analysis_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace tintwell {
namespace {

constexpr auto kMode = AutoCorrectionMode::ColorSearch;
constexpr std::ptrdiff_t kRowBytes = 1700;
constexpr std::int32_t kWidth = 421; // a row of one whole block, and of one with half a pair left
constexpr std::int32_t kRows = 3;
constexpr std::ptrdiff_t kUsedBytes = kWidth * 4;

using Bytes = std::vector<std::byte>;

InterleavedFrame frameOf(Bytes& bytes) {
    return {bytes.data(), kRowBytes, kWidth, kRows, 8};
}

AnalysisKey keyOf(const InterleavedFrame& frame, const KeySecret& secret, std::int32_t order = 0,
                  AutoCorrectionMode mode = kMode) {
    const PixelView pixels = viewOfPixels(frame, order);
    KeyHash hash(&secret, pixels, mode);
    for (std::int32_t y = 0; y < pixels.rows; ++y) {
        hash.addRow(y);
    }
    return hash.key();
}

Bytes anyBytes() {
    Bytes bytes(kRows * kRowBytes);
    std::generate(bytes.begin(), bytes.end(), [i = 0U]() mutable { return std::byte(i++ % 251); });
    return bytes;
}

TEST(AnalysisKey, SeesEveryByteOfThePixelsAndNoneOfThePadding) {
    const auto secret = KeySecret::draw();
    ASSERT_TRUE(secret);
    Bytes bytes = anyBytes();
    const AnalysisKey key = keyOf(frameOf(bytes), *secret);
    EXPECT_TRUE(key.isKnown());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        Bytes changed = bytes;
        changed[i] ^= std::byte{0x80};
        const bool isPadding = static_cast<std::ptrdiff_t>(i) % kRowBytes >= kUsedBytes;
        EXPECT_EQ(keyOf(frameOf(changed), *secret) == key, isPadding) << i;
    }
}

TEST(AnalysisKey, TellsPiecesApartThatChangedPlaces) {
    const auto secret = KeySecret::draw();
    ASSERT_TRUE(secret);
    Bytes bytes = anyBytes();
    const AnalysisKey key = keyOf(frameOf(bytes), *secret);

    struct Case {
        const char* what;
        std::ptrdiff_t first, second, size;
    };

    for (const Case& c : {Case{"words of a pair", 0, 8, 8}, Case{"pairs", 0, 16, 16},
                          Case{"words of two pairs", 0, 24, 8}, Case{"rows", 0, kRowBytes, 1684},
                          Case{"the rests of rows", 1680, kRowBytes + 1680, 4}}) {
        Bytes changed = bytes;
        std::swap_ranges(changed.begin() + c.first, changed.begin() + c.first + c.size,
                         changed.begin() + c.second);
        EXPECT_NE(key, keyOf(frameOf(changed), *secret)) << c.what;
    }
}

TEST(AnalysisKey, DependsOnOrderLayoutModeAndSecret) {
    const auto secret = KeySecret::draw();
    const auto other = KeySecret::draw();
    ASSERT_TRUE(secret && other);
    Bytes bytes(64);
    const InterleavedFrame frame = {bytes.data(), 16, 4, 2, 8};
    const AnalysisKey key = keyOf(frame, *secret);
    EXPECT_EQ(key, keyOf(frame, *secret));
    EXPECT_NE(key, keyOf(frame, *other));
    EXPECT_NE(key, keyOf(frame, *secret, 1));
    EXPECT_NE(key, keyOf(frame, *secret, 0, AutoCorrectionMode::PerChannelContrast));
    EXPECT_NE(key, keyOf({bytes.data(), 8, 2, 4, 8}, *secret));
    EXPECT_NE(key, keyOf({bytes.data(), 16, 2, 2, 16}, *secret));
    EXPECT_TRUE(keyOf({nullptr, 0, 0, 0, 8}, *secret).isKnown());
}

TEST(AnalysisKey, NoSecretMakesNoFramesKey) {
    Bytes bytes = anyBytes();
    const PixelView pixels = viewOfPixels(frameOf(bytes), 0);
    KeyHash hash(nullptr, pixels, kMode);
    hash.addRow(0);
    EXPECT_FALSE(hash.key().isKnown());
    EXPECT_FALSE(isSameFrame(hash.key(), hash.key()));
}

/// The products of the hash done again bit by bit, in the way one learns at school.
TEST(AnalysisKey, IsThePolynomialOfTheBlocksSums) {
    KeySecret secret{};
    std::generate(secret.words.begin(), secret.words.end(),
                  [word = ~std::uint64_t{0}]() mutable { return word *= 0x9e3779b97f4a7c15U; });
    secret.points = {(std::uint64_t{1} << 61U) - 2, 0x0123456789abcdefU};
    Bytes bytes = anyBytes();
    bytes.resize(16);
    const InterleavedFrame frame = {bytes.data(), 16, 4, 1, 8};

    constexpr std::uint64_t kPrime = (std::uint64_t{1} << 61U) - 1;
    const auto modulo = [](std::uint64_t a, std::uint64_t b) { // a * b % kPrime by doubling
        std::uint64_t result = 0;
        for (a %= kPrime; b != 0; b >>= 1U, a = 2 * a % kPrime) {
            result = (result + (b % 2) * a) % kPrime;
        }
        return result;
    };
    std::array<std::uint64_t, 2> words;
    std::memcpy(words.data(), bytes.data(), 16);
    const std::uint64_t a = words[0] + secret.words[0];
    const std::uint64_t b = words[1] + secret.words[1];
    std::array<std::uint64_t, 3> sum{}; // 128 bits, 43 in each of the lower two
    for (std::size_t i = 0; i < 64; ++i) {
        for (std::size_t j = 0; j < 64; ++j) {
            const std::size_t bit = i + j;
            sum[bit / 43] += (a >> i & b >> j & 1U) << bit % 43;
        }
    }
    constexpr std::uint64_t kMask = (std::uint64_t{1} << 43U) - 1;
    sum[1] += sum[0] >> 43U;
    sum[2] += sum[1] >> 43U;
    std::array<std::uint64_t, 2> expected = {1, 1};
    for (std::size_t p = 0; p < 2; ++p) {
        for (const std::uint64_t coefficient :
             {std::uint64_t{4}, std::uint64_t{1}, std::uint64_t{8}, std::uint64_t{1},
              std::uint64_t{3}, sum[0] & kMask, sum[1] & kMask, sum[2]}) {
            expected[p] = (modulo(expected[p], secret.points[p]) + coefficient) % kPrime;
        }
    }
    EXPECT_EQ(keyOf(frame, secret), AnalysisKey(expected));
}

} // namespace
} // namespace tintwell
