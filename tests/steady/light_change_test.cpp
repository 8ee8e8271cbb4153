// Pairs of frames whose light and motion are known.

#include "known_facts.h"
#include "steady/light_change.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tintwell::steady {
namespace {

using bench::Picture;
using bench::View;

constexpr std::size_t kWidth = 320;
constexpr std::size_t kHeight = 180;

CoarsePicture inSmall(Picture picture, const bench::Light& light, float coverFrom = 1.0F) {
    for (std::size_t c = 0; c < 3; ++c) {
        for (std::size_t i = 0; i < picture.planes[c].size(); ++i) {
            float& level = picture.planes[c][i];
            const auto column = static_cast<float>(i % kWidth) / kWidth;
            const double lit = light[c].gain * level + light[c].offset;
            level = std::clamp(std::round(static_cast<float>(lit)), 0.0F, 255.0F);
            level = column >= coverFrom ? 12.0F : level;
        }
    }
    std::vector<std::byte> bytes = bench::argbOf(picture);
    return CoarsePicture(
        blockPicture(viewOfPixels({bytes.data(), 4 * kWidth, kWidth, kHeight, 8}, 0)));
}

struct PairCase {
    const char* what;
    View to;
    bench::Light light{};
    float coverFrom = 1.0F; ///< the share of the width from which a dark thing covers the frame
    double allowed = 0.15;  ///< error at any level from 20 to 230
};

constexpr bench::Light kBrighter = {{{1.08, 0.0}, {1.08, 0.0}, {1.08, 0.0}}};
constexpr bench::Light kColored = {{{0.94, 3.0}, {1.05, -2.0}, {1.02, 1.5}}};

TEST(LightChange, FindsTheLightThroughMotionAndThings) {
    const bench::Scenery scenery(31);
    const View from = {420.0, 300.0};
    const PairCase cases[] = {
        {"nothing changes", from},
        {"brighter", from, kBrighter},
        {"other gains and offsets", from, kColored},
        {"panned by parts of a block", {423.7, 301.2}, kColored},
        {"panned by several blocks", {452.0, 290.0}, kBrighter},
        {"zoomed and turned", {420.0, 300.0, 1.03, 0.02}, kColored},
        {"a third covered", {421.5, 300.0}, kColored, 0.67F, 0.3},
    };
    for (const PairCase& test : cases) {
        SCOPED_TRACE(test.what);
        const LightChange change = lightChange(
            inSmall(scenery.seen(from, kWidth, kHeight), {}),
            inSmall(scenery.seen(test.to, kWidth, kHeight), test.light, test.coverFrom));
        EXPECT_GT(change.likeness.value_or(0.0), 0.95);
        EXPECT_NEAR(change.motion.x / kColumns, (from.x - test.to.x) / kWidth, 0.002);
        EXPECT_NEAR(change.motion.y / kRows, (from.y - test.to.y) / kHeight, 0.002);
        for (std::size_t c = 0; c < 3; ++c) {
            for (const double level : {20.0, 230.0}) {
                EXPECT_NEAR(change.light[c].map.of(level),
                            test.light[c].gain * level + test.light[c].offset, test.allowed);
            }
        }
    }
}

TEST(LightChange, KnowsAnotherPlaceUnderTheSameLight) {
    const bench::Scenery scenery(31);
    const bench::Scenery other(32);
    const CoarsePicture here = inSmall(scenery.seen({300.0, 300.0}, kWidth, kHeight), {});
    for (const View view : {View{300.0, 300.0}, View{500.0, 250.0}, View{700.0, 350.0}}) {
        const auto likeness =
            lightChange(here, inSmall(other.seen(view, kWidth, kHeight), {})).likeness;
        EXPECT_LT(likeness.value_or(1.0), kSameScene);
    }
}

TEST(LightChange, HasNoOpinionOnFramesWithoutTexture) {
    Picture grey(kWidth, kHeight);
    for (auto& plane : grey.planes) {
        std::ranges::fill(plane, 90.0F);
    }
    const LightChange change = lightChange(inSmall(grey, {}), inSmall(grey, kColored));
    EXPECT_FALSE(change.likeness);
    EXPECT_GT(change.difference, 1.0);
}

TEST(BlockPicture, TakesFramesOfAnySizeAndDepth) {
    const std::uint8_t one[4] = {255, 10, 20, 30};
    std::uint8_t pixel[4];
    std::ranges::copy(one, pixel);
    const BlockPicture tiny =
        blockPicture(viewOfPixels({reinterpret_cast<std::byte*>(pixel), 4, 1, 1, 8}, 0));
    EXPECT_FLOAT_EQ(tiny.means[2].back(), 30.0F);

    const std::vector<std::uint16_t> half(4 * 100 * 3, 16384);
    std::vector<std::byte> bytes(half.size() * 2);
    std::memcpy(bytes.data(), half.data(), bytes.size());
    const BlockPicture deep = blockPicture(viewOfPixels({bytes.data(), 800, 100, 3, 16}, 0));
    EXPECT_FLOAT_EQ(deep.means[1].front(), 127.5F);
    EXPECT_EQ(blockPicture(viewOfPixels({nullptr, 0, 0, 0, 8}, 0)).means[0][0], 0.0F);
}

} // namespace
} // namespace tintwell::steady
