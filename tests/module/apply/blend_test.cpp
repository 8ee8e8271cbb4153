#include "module/apply/blend.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>

namespace tintwell {
namespace {

// What whole renders cannot reach: they hand over frames of one depth that fit.

TEST(Blend, RefusesWhatItCannotMixAndWritesNothing) {
    std::array<std::byte, 64> corrected{};
    std::array<std::byte, 64> originalBytes{};
    std::array<std::byte, 64> output{};
    originalBytes.fill(std::byte{200});
    const auto frame = [](std::array<std::byte, 64>& bytes, std::int32_t width,
                          std::int32_t height) {
        return InterleavedFrame{bytes.data(), width * 4, width, height, 8};
    };
    const InterleavedFrame source = frame(corrected, 3, 2);
    const InterleavedFrame original = frame(originalBytes, 3, 2);
    const InterleavedFrame destination = frame(output, 3, 2);
    const InterleavedFrame narrow = frame(originalBytes, 2, 2);
    const InterleavedFrame low = frame(originalBytes, 3, 1);
    InterleavedFrame deep = original;
    deep.bitDepth = 16;
    InterleavedFrame noData = original;
    noData.data = nullptr;

    for (const InterleavedFrame* bad :
         std::initializer_list<const InterleavedFrame*>{nullptr, &narrow, &low, &deep, &noData}) {
        for (const std::int32_t weight : {0, 1, kFullBlend}) {
            EXPECT_EQ(blendWithOriginal(source, bad, weight, 0, &destination), 512);
            EXPECT_EQ(blendWithOriginal(source, &original, weight, 0, bad), 512);
        }
    }
    EXPECT_EQ(blendWithOriginal(noData, &original, 1, 0, &destination), 512);
    EXPECT_EQ(blendWithOriginal(source, &original, 1, 2, &destination), 10002);
    EXPECT_EQ(output, (std::array<std::byte, 64>{}));
    const InterleavedFrame larger = frame(originalBytes, 4, 3);
    EXPECT_EQ(blendWithOriginal(source, &larger, kFullBlend, 0, &destination), 0);
    EXPECT_EQ(output[23], std::byte{200});
    EXPECT_EQ(output[24], std::byte{0});
}

} // namespace
} // namespace tintwell
