// What the finder says of a frame is what the module renders of it.

#include "host/effect_instance.h"
#include "inspect/correction_finder.h"
#include "inspect/correction_summary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace tintwell::inspect {
namespace {

using host::Control;
using host::ControlTrack;
using host::FrameBuffer;

constexpr std::int32_t kFrames = 24;
constexpr std::int32_t kCut = 14;
constexpr host::ClipTiming kTiming{kFrames, 1001, 10010};

/// A gradient with a cast whose lightest part flickers; behind the cut another one, in other
/// levels.
std::shared_ptr<FrameBuffer> clipFrame(std::int32_t index, host::SampleDepth depth) {
    std::mt19937 random(static_cast<unsigned>(index));
    const int flicker = static_cast<int>(random() % 20);
    const int scene = index < kCut ? 30 : 90;
    auto frame = std::make_shared<FrameBuffer>(33, 7, depth);
    for (std::int32_t y = 0; y < frame->height(); ++y) {
        for (std::int32_t x = 0; x < frame->width(); ++x) {
            const int ramp = index < kCut ? x * 3 : x * x / 12;
            const int level = scene + ramp + y + (x > 25 ? flicker : 0);
            const int pixel[4] = {255, level, level - 8, level - 20};
            for (int c = 0; c < 4; ++c) {
                if (depth == host::SampleDepth::Bits8) {
                    frame->row(y)[x * 4 + c] = static_cast<std::byte>(pixel[c]);
                } else {
                    const auto deep = static_cast<std::uint16_t>(pixel[c] * 128);
                    std::memcpy(frame->row(y) + (x * 4 + c) * 2, &deep, sizeof deep);
                }
            }
        }
    }
    return frame;
}

struct Clip : host::FrameSource {
    explicit Clip(host::SampleDepth depth) {
        for (std::int32_t i = 0; i < kFrames; ++i) {
            frames.push_back(clipFrame(i, depth));
        }
    }

    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        return frames.at(static_cast<std::size_t>(index));
    }

    std::vector<std::shared_ptr<FrameBuffer>> frames;
};

struct Case {
    const char* name;
    ControlTrack seconds;
    bool sceneDetect = false;
    bool highQuality = true;
    bool snap = false;
    double blend = 0.0;
    host::SampleDepth depth = host::SampleDepth::Bits8;
    std::int32_t first = 0; ///< frame that is wanted first
};

host::ControlTracks controlsOf(const Case& test) {
    host::ControlTracks controls;
    controls[Control::TemporalSmoothing] = test.seconds;
    controls[Control::SceneDetect] = ControlTrack(test.sceneDetect ? 1.0 : 0.0);
    controls[Control::BlackClip] = ControlTrack({{0, 0.1}, {kFrames - 1, 4.0}});
    controls[Control::WhiteClip] = ControlTrack(1.0);
    controls[Control::SnapNeutralMidtones] = ControlTrack(test.snap ? 1.0 : 0.0);
    controls[Control::BlendWithOriginal] = ControlTrack(test.blend);
    return controls;
}

std::vector<FrameFindings> findAll(Clip& clip, const Case& test,
                                   const std::vector<SmoothingTrial>& trials = {}) {
    host::ClipTiming unknownLength = kTiming;
    unknownLength.frameCount = 100000;
    CorrectionFinder finder({unknownLength, controlsOf(test), test.highQuality, trials});
    const auto begin =
        static_cast<std::int32_t>(std::max<std::int64_t>(0, test.first - finder.reach()));
    std::vector<FrameFindings> all;
    const auto collect = [&] {
        while (auto findings = finder.next()) {
            all.push_back(std::move(*findings));
        }
    };
    for (std::int32_t i = begin; i < kFrames; ++i) {
        finder.add(i, i * 0.1, *clip.frame(i), i >= test.first);
        collect();
    }
    finder.finish();
    collect();
    return all;
}

bool samePixels(const FrameBuffer& a, const FrameBuffer& b) {
    for (std::int32_t y = 0; y < a.height(); ++y) {
        const auto bytes = static_cast<std::size_t>(a.width()) * (a.depth() == b.depth() ? 4 : 0) *
                           (static_cast<std::size_t>(a.depth()) / 8);
        if (bytes == 0 || std::memcmp(a.row(y), b.row(y), bytes) != 0) {
            return false;
        }
    }
    return true;
}

TEST(CorrectionFinder, FindsWhatTheModuleRenders) {
    const ControlTrack none(0.0);
    const ControlTrack second(1.0);
    const ControlTrack rising({{0, 0.0}, {6, 0.3}, {kFrames - 1, 4.0}});
    const Case cases[] = {
        {.name = "frame by frame", .seconds = none, .snap = true},
        {.name = "smoothed", .seconds = second},
        {.name = "cuts and midtones", .seconds = second, .sceneDetect = true, .snap = true},
        {.name = "keyframed window", .seconds = rising, .sceneDetect = true},
        {.name = "window beyond the clip", .seconds = ControlTrack(10.0)},
        {.name = "draft", .seconds = second, .highQuality = false},
        {.name = "blended, deep",
         .seconds = second,
         .blend = 30.0,
         .depth = host::SampleDepth::Bits16},
        {.name = "part of the clip", .seconds = second, .sceneDetect = true, .first = 9},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        Clip clip(test.depth);
        host::EffectInstance effect(
            std::make_shared<host::ModuleLibrary>(TINTWELL_MODULE_PATH),
            {kTiming, test.highQuality, host::ChannelOrder::Argb, &clip, controlsOf(test), {}});
        effect.setUp();
        const auto all = findAll(clip, test);
        ASSERT_EQ(all.size(), static_cast<std::size_t>(kFrames - test.first));
        for (const FrameFindings& findings : all) {
            const auto index = static_cast<std::int32_t>(findings.frame);
            const FrameBuffer& input = *clip.frame(index);
            FrameBuffer rendered(input.width(), input.height(), test.depth);
            FrameBuffer corrected(input.width(), input.height(), test.depth);
            effect.render(index, input, rendered);
            correctPixels(findings, input, corrected);
            EXPECT_TRUE(samePixels(rendered, corrected)) << "frame " << index;
        }
    }
}

TEST(CorrectionFinder, TellsCutsAndWhereTheClipEnds) {
    Clip clip(host::SampleDepth::Bits8);
    for (const std::int32_t first : {0, kCut}) {
        const auto all = findAll(clip, {.name = "", .seconds = ControlTrack(0.0), .first = first});
        for (const FrameFindings& findings : all) {
            EXPECT_EQ(cutBefore(findings), findings.frame == kCut) << findings.frame;
            EXPECT_EQ(findings.fromPrevious.has_value(), findings.frame > 0);
            EXPECT_EQ(findings.toNext.has_value(), findings.frame < kFrames - 1);
        }
    }
}

/// The sums of the summary, from the pixels that the effect writes.
TEST(CorrectionSummary, TellsTheChangeOfThePixelsAndTheFlickerThatAWindowLeaves) {
    Clip clip(host::SampleDepth::Bits8);
    SummaryBuilder builder;
    ChangeMeter sampled;
    for (const auto& findings :
         findAll(clip, {.name = "", .seconds = ControlTrack(0.0)}, adviceTrials())) {
        builder.add(findings);
        const FrameBuffer& input = *clip.frame(static_cast<std::int32_t>(findings.frame));
        FrameBuffer corrected(input.width(), input.height(), input.depth());
        correctPixels(findings, input, corrected);
        sampled.addSampled(input, corrected); // so small a frame is looked at whole
    }
    const CorrectionSummary summary = builder.summary();
    EXPECT_NEAR(summary.change.strength, sampled.change().strength, 1e-9);
    EXPECT_NEAR(summary.change.shift[2], sampled.change().shift[2], 1e-9);
    EXPECT_EQ(removedCast(summary.change).name, "orange (warm)");
    ASSERT_EQ(summary.cuts.size(), 1U);
    EXPECT_EQ(summary.cuts[0].frame, kCut);
    ASSERT_TRUE(summary.advice);

    // Taken, the advice leaves what it said.
    SummaryBuilder advised;
    for (const auto& findings :
         findAll(clip, {.name = "",
                       .seconds = ControlTrack(summary.advice->smoothing.seconds),
                       .sceneDetect = summary.advice->smoothing.sceneDetect})) {
        advised.add(findings);
    }
    EXPECT_EQ(advised.summary().found.flicker, summary.found.flicker);
    EXPECT_EQ(advised.summary().smoothed.flicker, summary.advice->left.flicker);
    EXPECT_LT(summary.advice->left.flicker, summary.found.flicker);
}

} // namespace
} // namespace tintwell::inspect
