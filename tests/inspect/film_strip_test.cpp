#include "inspect/film_strip.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>

namespace tintwell::inspect {
namespace {

media::ClipInfo clipOf(int width, int height) {
    media::ClipInfo info;
    info.width = width;
    info.height = height;
    return info;
}

std::vector<std::int64_t> framesPicked(std::int64_t frames, std::optional<std::int64_t> expected,
                                       std::int64_t cut) {
    constexpr std::int64_t kFirst = 1000;
    constexpr std::int64_t kWindow = 30; // findings come so much later
    const host::FrameBuffer pixels(16, 8, host::SampleDepth::Bits8);
    FilmStrip strip(clipOf(16, 8), host::SampleDepth::Bits8, expected);
    for (std::int64_t i = 0; i < frames + kWindow; ++i) {
        if (i < frames) {
            strip.take(kFirst + i, i == cut, pixels);
        }
        if (i >= kWindow) {
            FrameFindings findings;
            findings.frame = kFirst + i - kWindow;
            strip.add(findings);
        }
    }
    std::vector<std::int64_t> picked;
    for (const FramePair& pair : strip.frames()) {
        EXPECT_GT(pair.before.size(), 100U);
        EXPECT_GT(pair.after.size(), 100U);
        picked.push_back(pair.frame - kFirst);
    }
    return picked;
}

TEST(FilmStrip, PicksFramesEvenlyAndWhereScenesBegin) {
    using Frames = std::vector<std::int64_t>;
    EXPECT_EQ(framesPicked(1, {}, -1), (Frames{0}));
    EXPECT_EQ(framesPicked(36, 36, -1), (Frames{1, 4, 7, 10, 13, 16, 19, 22, 25, 28, 31, 34}));
    EXPECT_EQ(framesPicked(36, 36, 14), (Frames{1, 4, 7, 10, 14, 16, 19, 22, 25, 28, 31, 34}));
    EXPECT_EQ(framesPicked(4, 4000, -1), (Frames{0})) << "far fewer than promised";
    EXPECT_EQ(framesPicked(50, {}, 27), (Frames{0, 8, 16, 27, 32, 40, 48})) << "length not known";
    EXPECT_EQ(framesPicked(50, 12, 27), (Frames{0, 8, 16, 27, 32, 40, 48})) << "far more";
}

TEST(ThumbnailMaker, TurnsAndStretchesAsPlayersDo) {
    struct Case {
        double rotation;
        std::pair<int, int> size;
        std::pair<int, int> redAt; // what was the left edge
    };

    media::ClipInfo info = clipOf(40, 40);
    info.sampleAspectRatio = {2, 1};
    host::FrameBuffer world(40, 40, host::SampleDepth::Bits16);
    for (std::int32_t i = 0; i < 40 * 40; ++i) {
        const std::uint16_t red = i % 40 < 20 ? 32768 : 0;
        std::memcpy(world.row(i / 40) + (i % 40) * 8 + 2, &red, sizeof red);
    }
    for (const auto& [rotation, size, redAt] :
         {Case{0.0, {20, 10}, {2, 5}}, Case{90.0, {10, 20}, {5, 17}}, Case{-90.0, {10, 20}, {5, 2}},
          Case{180.0, {20, 10}, {17, 5}}}) {
        info.rotation = rotation;
        const auto thumbnail =
            media::ThumbnailMaker(info, host::SampleDepth::Bits16, 20).shrink(world);
        ASSERT_EQ(std::pair(thumbnail.width(), thumbnail.height()), size) << rotation;
        const auto redOf = [&](int x, int y) {
            return std::to_integer<int>(thumbnail.row(y)[x * 4 + 1]);
        };
        EXPECT_EQ(redOf(redAt.first, redAt.second), 255) << rotation;
        EXPECT_EQ(redOf(size.first - 1 - redAt.first, size.second - 1 - redAt.second), 0);
    }
}

} // namespace
} // namespace tintwell::inspect
