#include "module/counting/top_sums.h"

#include <gtest/gtest.h>

#include <vector>

namespace tintwell {
namespace {

TEST(TopSums, HoldMorePixelsThanTheKernelsSums) {
    constexpr std::size_t kPixels = kernels::kMostToneSums + (std::size_t{1} << 17U);
    const std::vector<std::uint8_t> indices(kPixels, 255);
    std::vector<std::uint8_t> white(4 * kPixels, 255);
    for (std::size_t i = 0; i < kPixels; ++i) {
        white[4 * i] = 1;
    }
    TopSums top(255);
    top.add(indices.data(), {white.data(), true}, kPixels);
    EXPECT_EQ(top.counts()[255], kPixels);
    EXPECT_EQ(top.mean({255, 255}), (Rgb{255, 255, 255}));
}

} // namespace
} // namespace tintwell
