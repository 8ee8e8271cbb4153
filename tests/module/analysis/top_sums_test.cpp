#include "module/analysis/tone_colors.h"

#include <gtest/gtest.h>

#include <vector>

namespace tintwell {
namespace {

TEST(TopSums, HoldMorePixelsThanTheKernelsSums) {
    constexpr std::size_t kPixels = kernels::kMostToneSums + (std::size_t{1} << 17U);
    const std::vector<std::uint8_t> white(kPixels, 255);
    TopSums top(255);
    top.add(white.data(), {white.data(), white.data(), white.data()}, kPixels);
    EXPECT_EQ(top.counts()[255], kPixels);
    EXPECT_EQ(top.mean({255, 255}), (Rgb{255, 255, 255}));
}

} // namespace
} // namespace tintwell
