#include "clip_host.h"
#include "module/temporal/smoothing_base.h"

#include <gtest/gtest.h>

namespace tintwell {
namespace {

/// The generic run with nothing measured.
class GenericSmoothing : public CTemporalSmoothingBase {
public:
    ErrorCode MeasureWindow() override { return measured; }

    std::int32_t first() { return windowOn(Side::Before).bound; }

    std::int32_t last() { return windowOn(Side::After).bound; }

    ErrorCode measured = 0;
};

/// Ten pixels of which the first `light` are white and the rest black: frames are their difference
/// of `light` apart, in tenths.
ClipHost::Frame frameWith(std::size_t light) {
    ClipHost::Frame frame(10, {255, 0, 0, 0});
    std::fill_n(frame.begin(), light, ClipHost::Pixel{255, 255, 255, 255});
    return frame;
}

struct GenericRun {
    explicit GenericRun(const std::vector<std::size_t>& lights) : host(framesOf(lights)) {}

    static std::vector<ClipHost::Frame> framesOf(const std::vector<std::size_t>& lights) {
        std::vector<ClipHost::Frame> frames;
        frames.reserve(lights.size());
        for (const std::size_t light : lights) {
            frames.push_back(frameWith(light));
        }
        return frames;
    }

    ErrorCode compute(std::int32_t frame, double seconds, bool sceneDetect) {
        host.moveTo(frame);
        smoothing.Init(&host.inData, params, seconds, sceneDetect ? 1 : 0, &cache);
        smoothing.SetResult(Held<FrameCacheEntry>::owned(std::make_unique<FrameCacheEntry>()));
        FrameCacheEntry destination;
        return smoothing.Compute(&destination);
    }

    ClipHost host;
    FrameCache cache;
    ParamDef* params[1] = {};
    GenericSmoothing smoothing;
};

TEST(SmoothingBase, SummedDifferencesPastTheBudgetEndTheWindow) {
    struct Case {
        const char* what;
        std::vector<std::size_t> lights;
        std::int32_t frame;
        bool sceneDetect;
        std::int32_t first, last;
        std::vector<std::int32_t> read;
    };

    // Six seconds at one frame a second reach three frames to each side; their budget is 1.2.
    const Case cases[] = {
        {"nothing moves", {0, 0, 0, 0, 0, 0, 0}, 3, true, 0, 6, {3, 2, 1, 0, 3, 4, 5, 6}},
        {"0.8 and 0.5 add up past the budget",
         {0, 0, 0, 0, 8, 3, 3},
         3,
         true,
         0,
         5,
         {3, 2, 1, 0, 3, 4, 5, 6}},
        {"beyond the cut one more frame is measured",
         {0, 0, 0, 0, 10, 0, 0},
         3,
         true,
         0,
         5,
         {3, 2, 1, 0, 3, 4, 5, 6}},
        {"backward", {10, 0, 10, 0, 0, 0, 0}, 3, true, 1, 6, {3, 2, 1, 0, 3, 4, 5, 6}},
        {"not without scene detection",
         {0, 0, 0, 0, 10, 0, 0},
         3,
         false,
         0,
         6,
         {3, 2, 1, 0, 3, 4, 5, 6}},
    };
    for (const Case& c : cases) {
        GenericRun run(c.lights);
        ASSERT_EQ(run.compute(c.frame, 6.0, c.sceneDetect), 0) << c.what;
        EXPECT_EQ(run.smoothing.first(), c.first) << c.what;
        EXPECT_EQ(run.smoothing.last(), c.last) << c.what;
        EXPECT_EQ(run.host.framesRead, c.read) << c.what;
        EXPECT_EQ(run.host.checkedOut, 0) << c.what;
    }
}

TEST(SmoothingBase, VisitsTheCurrentFrameAlsoBehindTheClipsEnd) {
    GenericRun run({1, 2, 3, 4});
    run.host.inData.totalDuration = 2 * run.host.inData.timeStep;
    EXPECT_EQ(run.compute(3, 0.0, false), 0);
    EXPECT_EQ(run.host.framesRead.front(), 3);
    ASSERT_NE(run.cache.find(3), nullptr);
    EXPECT_TRUE(run.cache.find(3)->signature);
}

TEST(SmoothingBase, StoresTheCurrentFramesSignatureAndDifferences) {
    GenericRun run({0, 4, 6});
    ASSERT_EQ(run.compute(1, 2.0, false), 0);
    const FrameCacheEntry* entry = run.cache.find(1);
    ASSERT_NE(entry, nullptr);
    EXPECT_DOUBLE_EQ(entry->differenceToPrevious, 0.4);
    EXPECT_DOUBLE_EQ(entry->differenceToNext, 0.2);
    EXPECT_EQ(signatureTotal(*entry->signature), 10U);

    GenericRun atStart({0, 4});
    ASSERT_EQ(atStart.compute(0, 2.0, false), 0);
    EXPECT_EQ(atStart.cache.find(0)->differenceToPrevious, 1.0) << "the clip's start is a cut";
}

TEST(SmoothingBase, UsesTheCachedDifferenceOfACachedFrame) {
    GenericRun run({0, 4, 6});
    ASSERT_EQ(run.compute(1, 2.0, false), 0);
    run.cache.find(1)->differenceToNext = 0.9;
    run.host.framesRead.clear();
    GenericSmoothing again;
    run.host.moveTo(0);
    again.Init(&run.host.inData, run.params, 4.0, 1, &run.cache);
    ASSERT_EQ(again.GatherAfter(), 0);
    EXPECT_EQ(run.host.framesRead, (std::vector<std::int32_t>{0, 2}));
    EXPECT_EQ(again.last(), 2) << "0.4 and the stored 0.9 pass 0.8";
}

TEST(SmoothingBase, ChecksTheNearestCachedNeighbour) {
    GenericRun run({3, 3, 5});
    ASSERT_EQ(run.compute(0, 4.0, false), 0);
    bool valid = false;
    run.host.moveTo(2);
    EXPECT_EQ(run.smoothing.CheckCachedNeighbour(valid), 0);
    EXPECT_TRUE(valid);
    run.cache.find(0)->signature->counts[0] += 1;
    EXPECT_EQ(run.smoothing.CheckCachedNeighbour(valid), 0);
    EXPECT_FALSE(valid);
    run.host.checkOutAnswer = 520;
    EXPECT_EQ(run.smoothing.CheckCachedNeighbour(valid), 520);
    EXPECT_FALSE(valid);
}

TEST(SmoothingBase, AnErrorStopsTheRunAndStoresNothing) {
    GenericRun run({0, 0, 0});
    run.smoothing.measured = 77;
    EXPECT_EQ(run.compute(1, 2.0, false), 77);
    EXPECT_EQ(run.cache.size(), 0U);
    EXPECT_EQ(run.smoothing.Compute(nullptr), 512);
    GenericSmoothing bare;
    EXPECT_EQ(bare.GatherBefore(), 512);
}

} // namespace
} // namespace tintwell
