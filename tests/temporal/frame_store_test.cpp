#include "temporal/frame_store.h"

#include <gtest/gtest.h>

#include <vector>

namespace tintwell {
namespace {

EffectWorld worldOf(std::vector<std::uint16_t>& samples, std::int32_t width, std::int32_t height,
                    std::int32_t rowBytes) {
    EffectWorld world{};
    world.flags = kWorldFlag16Bit;
    world.data = samples.data();
    world.width = width;
    world.height = height;
    world.rowBytes = rowBytes;
    return world;
}

TEST(FrameStore, SplitsToAlphaRedGreenBlueAndMergesBackWithoutTouchingPadding) {
    for (const std::int32_t order : {0, 1}) {
        // Two rows of one pixel with two samples of padding each.
        std::vector<std::uint16_t> input = {1, 2, 3, 4, 901, 902, 5, 6, 7, 8, 903, 904};
        const EffectWorld world = worldOf(input, 1, 2, 12);
        auto [code, store] = CreateFrameStore(16, order, 1);
        ASSERT_EQ(code, 0);
        EXPECT_EQ(store->ChannelCount(), 0);
        ASSERT_EQ(store->Setup(&world), 0);
        ASSERT_EQ(store->SplitPlanes(), 0);
        EXPECT_EQ(store->ChannelCount(), 4);
        EXPECT_EQ(store->OutputBuffer(), nullptr);
        const auto* planes = static_cast<const std::uint16_t*>(store->InputBuffer());
        const std::vector<std::uint16_t> expected =
            order == 0 ? std::vector<std::uint16_t>{1, 5, 2, 6, 3, 7, 4, 8}
                       : std::vector<std::uint16_t>{4, 8, 3, 7, 2, 6, 1, 5};
        EXPECT_EQ(std::vector<std::uint16_t>(planes, planes + 8), expected);
        EXPECT_EQ(store->OutputPlane(2), planes + 4);

        std::vector<std::uint16_t> output(12, 7);
        EffectWorld destination = worldOf(output, 1, 2, 12);
        ASSERT_EQ(store->MergePlanes(&destination), 0);
        EXPECT_EQ(output, (std::vector<std::uint16_t>{1, 2, 3, 4, 7, 7, 5, 6, 7, 8, 7, 7}));
    }
}

TEST(FrameStore, ASeparateOutputIsItsOwnBuffer) {
    std::vector<std::uint16_t> input = {1, 2, 3, 4};
    const EffectWorld world = worldOf(input, 1, 1, 8);
    auto [code, store] = CreateFrameStore(16, 0, 0);
    ASSERT_EQ(store->Setup(&world), 0);
    ASSERT_NE(store->OutputBuffer(), nullptr);
    EXPECT_NE(store->OutputPlane(1), store->InputPlane(1));
}

TEST(FrameStore, KnowsTheScalesOfItsDepths) {
    std::vector<std::uint16_t> pixel(4);
    const EffectWorld deep = worldOf(pixel, 1, 1, 8);
    CFrameStore<std::uint16_t> store(0, 1);
    EXPECT_EQ(store.bitDepth(), 8);
    EXPECT_EQ(store.maxValue(), 0);
    ASSERT_EQ(store.Setup(&deep), 0);
    EXPECT_EQ(store.bitDepth(), 16);
    EXPECT_EQ(store.maxValue(), 32768);
    EXPECT_EQ(store.midValue(), 16384);
    EXPECT_EQ(store.bitCount(), 15);
}

TEST(FrameStore, RefusesWhatIsMissingOrDoesNotFit) {
    EXPECT_EQ(CreateFrameStore(10, 0, 1).code, 4);
    EXPECT_EQ(CreateFrameStore(10, 0, 1).store, nullptr);

    std::vector<std::uint16_t> pixels(8, 3);
    const EffectWorld one = worldOf(pixels, 1, 1, 8);
    auto [code, store] = CreateFrameStore(16, 0, 1);
    EXPECT_EQ(store->SplitPlanes(), 512) << "nothing set up";
    ASSERT_EQ(store->Setup(&one), 0);
    EXPECT_EQ(store->MergePlanes(nullptr), 512);
    EffectWorld two = worldOf(pixels, 2, 1, 16);
    EXPECT_EQ(store->MergePlanes(&two), 512);
    EffectWorld shallow = one;
    shallow.flags = 0;
    EXPECT_EQ(store->MergePlanes(&shallow), 512);
    EffectWorld noPixels = one;
    noPixels.data = nullptr;
    EXPECT_EQ(store->MergePlanes(&noPixels), 512);
    EXPECT_EQ(store->Setup(&noPixels), 512);
    EXPECT_EQ(store->Setup(nullptr), 512);
    EXPECT_EQ(store->InputPlane(0), nullptr);
    EXPECT_EQ(pixels, std::vector<std::uint16_t>(8, 3));
}

} // namespace
} // namespace tintwell
