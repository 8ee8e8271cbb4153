#include "module/temporal/frame_cache.h"

#include <gtest/gtest.h>

namespace tintwell {
namespace {

constexpr std::size_t kMost = SpareMemory::kMostBytes;

/// Frames of these sizes live at a time and go in this order.
void giveBack(SpareMemory& spares, const std::vector<std::size_t>& sizes) {
    std::vector<FrameMemory> frames;
    frames.reserve(sizes.size());
    for (const std::size_t size : sizes) {
        frames.push_back(makeFrameMemory(size, &spares));
    }
    for (FrameMemory& frame : frames) {
        frame.reset();
    }
}

TEST(SpareMemory, KeepsFewBlocksAndTheLastGivenOnes) {
    const std::pair<std::vector<std::size_t>, std::size_t> cases[] = {
        {{0}, 0},         {{1, 2, 4, 8, 16}, 30},        {{kMost}, kMost},
        {{kMost + 1}, 0}, {{1, kMost - 1, 2}, 2},        {{kMost - 1, 1, 0}, kMost},
        {{7, 7, 0}, 14},  {{kMost / 2, 9, kMost}, kMost}};
    for (const auto& [sizes, kept] : cases) {
        SpareMemory spares;
        giveBack(spares, sizes);
        EXPECT_EQ(spares.bytes(), kept) << testing::PrintToString(sizes);
    }
}

TEST(SpareMemory, ServesTheSameSizeAlsoAfterTheCacheWasCleared) {
    FrameCache cache;
    SpareMemory& spares = cache.spareMemory();
    giveBack(spares, {3, 5, 7});
    cache.clear();
    const FrameMemory other = makeFrameMemory(4, &cache.spareMemory());
    EXPECT_EQ(spares.bytes(), 15);
    const FrameMemory same = makeFrameMemory(5, &spares);
    EXPECT_EQ(spares.bytes(), 10);
    const FrameMemory again = makeFrameMemory(5, &spares);
    EXPECT_EQ(spares.bytes(), 10) << "is in use";
}

} // namespace
} // namespace tintwell
