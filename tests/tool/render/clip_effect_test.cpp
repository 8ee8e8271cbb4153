#include "media/media_error.h"
#include "tool/render/clip_effect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

namespace tintwell::tool {
namespace {

constexpr std::int32_t kFrames = 70;
constexpr std::int32_t kWidth = 32;
constexpr std::int32_t kHeight = 8;

/// The lightest part flickers; other scenes begin at the cuts.
host::FrameBuffer pictureAt(std::int32_t index, const std::set<std::int32_t>& cuts) {
    const auto scene = std::distance(cuts.begin(), cuts.upper_bound(index));
    host::FrameBuffer picture(kWidth, kHeight, host::SampleDepth::Bits8);
    for (std::int32_t y = 0; y < kHeight; ++y) {
        for (std::int32_t x = 0; x < kWidth; ++x) {
            const int flicker = x > kWidth - 6 ? index * 7 % 23 : 0;
            const auto level = static_cast<std::byte>(40 + 30 * (scene % 2) + 3 * x + flicker);
            std::fill_n(picture.row(y) + 4 * x, 4, level);
        }
    }
    return picture;
}

/// Frames that are made when they are asked for. Tells how far it was sent back.
class MadeFrames : public media::NeighbourSource {
public:
    explicit MadeFrames(std::set<std::int32_t> cuts) : cuts_(std::move(cuts)) {}

    std::shared_ptr<const host::FrameBuffer> frame(std::int32_t index) override {
        if (index >= kFrames) {
            frameCount_ = kFrames;
            throw media::MediaError("the clip ends there");
        }
        farthestBack = std::max(farthestBack, farthest_ - index);
        farthest_ = std::max(farthest_, index);
        return std::make_shared<const host::FrameBuffer>(pictureAt(index, cuts_));
    }

    std::optional<std::int32_t> frameCount() const override { return frameCount_; }

    void cancel() override {}

    std::int32_t farthestBack = 0;

private:
    std::set<std::int32_t> cuts_;
    std::int32_t farthest_ = 0;
    std::optional<std::int32_t> frameCount_;
};

struct Course {
    const char* name;
    std::int32_t first;
    std::set<std::int32_t> cuts;
    host::ControlTrack smoothing;
    bool sceneDetect;
};

/// The pixels of all frames from the first one on.
std::vector<std::byte> rendered(const Course& course, std::int64_t interval, MadeFrames& frames) {
    EffectCourse settings;
    settings.instance.timing.frameCount = 1'000'000;
    settings.instance.controls.emplace();
    (*settings.instance.controls)[host::Control::TemporalSmoothing] = course.smoothing;
    (*settings.instance.controls)[host::Control::SceneDetect] =
        host::ControlTrack(course.sceneDetect ? 1.0 : 0.0);
    settings.neighbours = &frames;
    settings.reach = 6; // half of ten frames, and the one beyond
    settings.framesBetweenRenewals = interval;
    const auto module = std::filesystem::path(TINTWELL_PROGRAM).parent_path() / "tintwell.so";
    ClipEffect effect(std::make_shared<const host::ModuleLibrary>(module.string()), settings);
    effect.setUp();
    std::vector<std::byte> all;
    for (std::int32_t index = course.first; index < kFrames; ++index) {
        host::FrameBuffer output(kWidth, kHeight, host::SampleDepth::Bits8);
        effect.render(index, pictureAt(index, course.cuts), output);
        for (std::int32_t y = 0; y < kHeight; ++y) {
            all.insert(all.end(), output.row(y), output.row(y) + 4 * kWidth);
        }
    }
    effect.setDown();
    return all;
}

// A stream that cannot be sought in is decoded from its start for every frame that is asked for
// again.
TEST(ClipEffect, BeginsAnewWithTheSamePixelsAndAsksForNoFrameAgain) {
    const host::ControlTrack steady(10.0 / 25.0);
    const host::ControlTrack changing({{0, 0.0}, {14, 0.0}, {30, 10.0 / 25.0}});
    for (const Course& course :
         {Course{"steady", 0, {}, steady, false}, Course{"cuts", 0, {13, 29, 31, 44}, steady, true},
          Course{"within", 25, {}, steady, true}, Course{"keyframed", 0, {33}, changing, true}}) {
        SCOPED_TRACE(course.name);
        MadeFrames inOneGo(course.cuts);
        const std::vector<std::byte> expected = rendered(course, kFrames, inOneGo);
        for (const std::int64_t interval : {14, 17, 32}) {
            MadeFrames frames(course.cuts);
            EXPECT_TRUE(rendered(course, interval, frames) == expected) << interval;
            EXPECT_EQ(frames.farthestBack, inOneGo.farthestBack) << interval;
        }
    }
}

} // namespace
} // namespace tintwell::tool
