#include "module/analysis/neutral_midtones.h"
#include "planar_frame.h"

#include <gtest/gtest.h>

namespace tintwell {
namespace {

constexpr RgbBytes kMiddleGrey = {128, 128, 128};

TEST(NeutralMidtones, GammasMoveTheFoundMidtoneToGrey) {
    // A scene of one near-neutral colour; with full-range levels the ratio of a channel is
    // log2(255 / level) / log2(255 / 128), and the geometric mean is taken out.
    const PlanarFrame<std::uint8_t> frame(
        8, 8, std::vector(64, PlanarFrame<std::uint8_t>::Color{132, 128, 124}));
    const auto midtone = findNeutralMidtone(viewOfPlanes(frame.image), {});
    ASSERT_TRUE(midtone);
    EXPECT_EQ(*midtone, (Rgb{132, 128, 124}));
    Gammas gammas{};
    EXPECT_TRUE(snapMidtoneGammas(gammas, {}, viewOfPlanes(frame.image), kMiddleGrey));
    EXPECT_EQ(gammas, (Gammas{100, 96, 100, 105}));
}

TEST(NeutralMidtones, TooLittleMidtoneLeavesGammasNeutral) {
    using Frame = PlanarFrame<std::uint8_t>;
    const Frame coloured(8, 8, std::vector(64, Frame::Color{200, 60, 60}));
    const Frame oneRow(8, 1, std::vector(8, Frame::Color{128, 128, 128}));
    const Frame oneColumn(1, 8, std::vector(8, Frame::Color{128, 128, 128}));
    for (const PlanarImage* image : {&coloured.image, &oneRow.image, &oneColumn.image}) {
        Gammas gammas{};
        EXPECT_FALSE(snapMidtoneGammas(gammas, {}, viewOfPlanes(*image), kMiddleGrey));
        EXPECT_EQ(gammas, kNeutralGammas);
    }
}

} // namespace
} // namespace tintwell
