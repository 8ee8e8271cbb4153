#include "module/render/frame_store.h"

#include <gtest/gtest.h>

#include <vector>

namespace tintwell {
namespace {

// Whole renders split and merge in place, frames that fit; here is the rest.

EffectWorld worldOf(std::vector<std::uint16_t>& samples, std::int32_t width) {
    EffectWorld world{};
    world.flags = kWorldFlag16Bit;
    world.data = samples.data();
    world.width = width;
    world.height = 1;
    world.rowBytes = width * 8;
    return world;
}

TEST(FrameStore, MergesASeparateOutputOfItsOwn) {
    std::vector<std::uint16_t> pixels = {1, 2, 3, 4};
    EffectWorld world = worldOf(pixels, 1);
    auto [code, store] = CreateFrameStore(16, 1, 0);
    EXPECT_EQ(store->ChannelCount(), 0);
    ASSERT_EQ(store->Setup(&world), 0);
    ASSERT_EQ(store->SplitPlanes(), 0);
    EXPECT_EQ(store->ChannelCount(), 4);
    const auto* input = static_cast<const std::uint16_t*>(store->InputBuffer());
    EXPECT_EQ(std::vector(input, input + 4), (std::vector<std::uint16_t>{4, 3, 2, 1}));
    for (std::int32_t k = 0; k < 4; ++k) {
        EXPECT_EQ(store->InputPlane(k), input + k);
        *static_cast<std::uint16_t*>(store->OutputPlane(k)) = static_cast<std::uint16_t>(9 - k);
    }
    EXPECT_EQ(store->OutputPlane(0), store->OutputBuffer());
    ASSERT_EQ(store->MergePlanes(&world), 0);
    EXPECT_EQ(pixels, (std::vector<std::uint16_t>{6, 7, 8, 9}));
}

TEST(FrameStore, KnowsTheScalesOfItsDepths) {
    std::vector<std::uint16_t> pixel(4);
    const EffectWorld deep = worldOf(pixel, 1);
    CFrameStore<std::uint16_t> store(0, 1);
    EXPECT_EQ(store.bitDepth(), 8);
    EXPECT_EQ(store.maxValue(), 0);
    ASSERT_EQ(store.Setup(&deep), 0);
    EXPECT_EQ(store.OutputBuffer(), nullptr);
    EXPECT_EQ(store.bitDepth(), 16);
    EXPECT_EQ(store.maxValue(), 32768);
    EXPECT_EQ(store.midValue(), 16384);
    EXPECT_EQ(store.bitCount(), 15);
}

TEST(FrameStore, RefusesWhatIsMissingOrDoesNotFit) {
    EXPECT_EQ(CreateFrameStore(10, 0, 1).code, 4);
    EXPECT_EQ(CreateFrameStore(8, 2, 1).code, 10002);
    std::vector<std::uint16_t> pixels(8, 3);
    const EffectWorld one = worldOf(pixels, 1);
    EffectWorld two = worldOf(pixels, 2);
    auto [code, store] = CreateFrameStore(16, 0, 1);
    EXPECT_EQ(store->SplitPlanes(), 512) << "nothing set up";
    ASSERT_EQ(store->Setup(&one), 0);
    EXPECT_EQ(store->MergePlanes(nullptr), 512);
    EXPECT_EQ(store->MergePlanes(&two), 512);
    EXPECT_EQ(store->Setup(nullptr), 512);
    EXPECT_EQ(store->InputPlane(0), nullptr);
    EXPECT_EQ(pixels, std::vector<std::uint16_t>(8, 3));
}

} // namespace
} // namespace tintwell
