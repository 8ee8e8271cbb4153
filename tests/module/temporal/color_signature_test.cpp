#include "module/temporal/color_signature.h"

#include <gtest/gtest.h>

#include <vector>

namespace tintwell {
namespace {

InterleavedFrame frameOf(std::vector<std::uint8_t>& samples) {
    return {reinterpret_cast<std::byte*>(samples.data()),
            static_cast<std::ptrdiff_t>(samples.size()),
            static_cast<std::int32_t>(samples.size() / 4), 1, 8};
}

TEST(ColorSignature, CountsThreeBitsOfEachChannelInEitherOrder) {
    std::vector<std::uint8_t> argb = {0, 255, 32, 31, 9, 64, 0, 224};
    std::vector<std::uint8_t> bgra = {31, 32, 255, 0, 224, 0, 64, 9};
    ColorSignature a;
    ColorSignature b;
    ASSERT_EQ(buildSignature(frameOf(argb), 0, a), 0);
    ASSERT_EQ(buildSignature(frameOf(bgra), 1, b), 0);
    EXPECT_EQ(a.counts[7 * 64 + 1 * 8 + 0], 1U);
    EXPECT_EQ(a.counts[2 * 64 + 0 * 8 + 7], 1U);
    EXPECT_EQ(signatureTotal(a), 2U);
    EXPECT_EQ(a, b);
}

TEST(ColorSignature, DistanceIsTwoForEachPixelThatMoves) {
    std::vector<std::uint8_t> dark(40, 0);
    std::vector<std::uint8_t> light(40, 255);
    ColorSignature a;
    ColorSignature b;
    buildSignature(frameOf(dark), 0, a);
    buildSignature(frameOf(light), 0, b);
    EXPECT_EQ(signatureDifference(a, a), 0.0);
    EXPECT_EQ(signatureDifference(a, b), 20.0);
}

TEST(ColorSignature, RefusesUnknownLayoutsAndIsLeftCleared) {
    std::vector<std::uint8_t> pixel(4);
    InterleavedFrame frame = frameOf(pixel);
    ColorSignature signature;
    signature.counts[3] = 1;
    EXPECT_EQ(buildSignature(frame, 2, signature), 10002);
    EXPECT_EQ(signature, ColorSignature{});
    signature.counts[3] = 1;
    frame.bitDepth = 12;
    EXPECT_EQ(buildSignature(frame, 0, signature), 10003);
    EXPECT_EQ(signature, ColorSignature{});
}

} // namespace
} // namespace tintwell
