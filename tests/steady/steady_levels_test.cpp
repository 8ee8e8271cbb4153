#include "known_facts.h"
#include "steady/steady_levels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

namespace tintwell::steady {
namespace {

bench::ClipDefinition clipNamed(const std::string& name, std::size_t frames) {
    for (bench::ClipDefinition& clip : bench::allClips()) {
        if (clip.name == name) {
            clip.frames = frames;
            return clip;
        }
    }
    throw std::invalid_argument(name);
}

double distance(const RealLevels& a, const RealLevels& b) {
    double greatest = 0.0;
    for (std::size_t c = 0; c < a.size(); ++c) {
        greatest = std::max(
            {greatest, std::abs(a[c].black - b[c].black), std::abs(a[c].white - b[c].white)});
    }
    return greatest;
}

TEST(Scenes, HardCutsAreFoundUnderFlicker) {
    const bench::ClipDefinition clip = bench::cutsClip(41, 8);
    const std::vector<std::size_t> starts = sceneStarts(bench::factsOf(clip));
    std::vector<std::size_t> expected = clip.cuts;
    expected.insert(expected.begin(), 0);
    EXPECT_EQ(starts, expected);
}

TEST(Scenes, FlashesAndFadesAreNoCutsAndMoveNothing) {
    for (const char* name : {"flashes", "fades"}) {
        SCOPED_TRACE(name);
        const std::vector<FrameFacts> facts = bench::factsOf(clipNamed(name, 60));
        EXPECT_EQ(sceneStarts(facts), std::vector<std::size_t>{0});
        for (std::size_t i = 1; i < facts.size(); ++i) {
            EXPECT_LT(distance(steadyLevels(facts, i, 2.0), steadyLevels(facts, i - 1, 2.0)), 0.2)
                << i;
        }
    }
}

/// Facts of a scene whose levels and light change as a test says, without pictures.
struct MadeClip {
    std::vector<FrameFacts> frames;

    void add(double black, double white, double gain = 1.0) {
        FrameFacts facts;
        facts.seconds = static_cast<double>(frames.size()) / 25.0;
        facts.levels.emplace();
        facts.levels->fill({black, white, 1.0});
        facts.contrast = 40.0;
        facts.fromPrevious.likeness = 0.99;
        facts.farLikeness = 0.99;
        facts.fromPrevious.light.fill({{gain, 0.0}, 100.0, 1e-4, 1e-8});
        frames.push_back(facts);
    }

    void cut() {
        frames.back().fromPrevious.likeness = 0.1;
        frames.back().fromPrevious.difference = 30.0;
    }
};

MadeClip flickering(std::size_t frames, unsigned seed) {
    MadeClip clip;
    double before = 1.0;
    std::mt19937 random(seed);
    for (std::size_t i = 0; i < frames; ++i) {
        const double light = 1.0 + 0.1 * (static_cast<double>(random() % 1000) / 1000.0 - 0.5);
        const double things = 8.0 * std::sin(static_cast<double>(i) * 1.3);
        clip.add(light * (20.0 + things), light * (210.0 - things), light / before);
        before = light;
        if (i == 120) {
            clip.cut();
        }
    }
    return clip;
}

/// Flicker, a cut at 120, a cross-fade, and a long blank stretch with a fade behind it.
std::vector<FrameFacts> eventful() {
    std::vector<FrameFacts> all = flickering(520, 3).frames;
    for (std::size_t i = 200; i < 270; ++i) {
        all[i].farLikeness = 0.4;
    }
    for (std::size_t i = 320; i < 490; ++i) {
        all[i].contrast = i < 430 ? 0.5 : 0.8 * static_cast<double>(i - 428);
    }
    return all;
}

TEST(Scenes, AreToldFromTheirContextOnly) {
    const std::vector<FrameFacts> all = eventful();
    const std::span<const FrameFacts> clip(all);
    const std::vector<ScenePlace> expected = scenePlaces(clip);
    for (std::size_t frame = 1; frame < clip.size(); ++frame) {
        SCOPED_TRACE(frame);
        const std::size_t first = frame > kSceneContext ? frame - kSceneContext : 0;
        const std::size_t count = std::min(frame + kSceneContext + 1, clip.size()) - first;
        const ScenePlace place = scenePlaces(clip.subspan(first, count))[frame - first];
        EXPECT_EQ(place.startsScene, expected[frame].startsScene);
        EXPECT_EQ(place.counts, expected[frame].counts);
        EXPECT_EQ(place.light, expected[frame].light);
        ASSERT_EQ(place.crossFade.has_value(), expected[frame].crossFade.has_value());
        if (place.crossFade) {
            EXPECT_EQ(place.crossFade->middle + first, expected[frame].crossFade->middle);
            EXPECT_EQ(place.crossFade->share, expected[frame].crossFade->share);
        }
    }
}

TEST(SteadyLevels, DependOnTheStatedNeighbourhoodAndSceneOnly) {
    const std::vector<FrameFacts> all = eventful();
    const std::span<const FrameFacts> clip(all);
    const double seconds = 0.4;
    const auto reach = static_cast<std::size_t>(kReach * seconds * 25.0) + kSceneContext;
    for (const std::size_t frame : {100U, 119U, 120U, 190U, 240U, 300U, 360U, 380U, 440U}) {
        const std::size_t first = frame > reach ? frame - reach : 0;
        const auto part = clip.subspan(first, std::min(2 * reach + 1, clip.size() - first));
        EXPECT_EQ(steadyLevels(clip, frame, seconds), steadyLevels(part, frame - first, seconds))
            << frame;
    }
    // Beside a cut as in the scene alone.
    EXPECT_EQ(sceneStarts(clip)[1], 120U);
    EXPECT_EQ(steadyLevels(clip, 119, seconds), steadyLevels(clip.first(120), 119, seconds));
    EXPECT_EQ(steadyLevels(clip, 120, seconds), steadyLevels(clip.subspan(120), 0, seconds));
}

TEST(SteadyLevels, PassOverFromSceneToSceneInACrossFade) {
    bench::ClipDefinition clip = clipNamed("cross-fade", 165);
    const std::vector<FrameFacts> facts = bench::factsOf(clip);
    const std::vector<std::size_t> starts = sceneStarts(facts);
    ASSERT_EQ(starts.size(), 2U);
    EXPECT_NEAR(static_cast<double>(starts[1]), 125.0, 4.0); // the fade is from 112 to 137
    const std::vector<RealLevels> levels = sceneLevels(facts);
    EXPECT_LT(distance(levels[20], levels[100]), 0.3);
    EXPECT_LT(distance(levels[145], levels[164]), 0.3);
    const double whole = distance(levels[100], levels[150]);
    for (std::size_t i = 1; i < levels.size(); ++i) {
        EXPECT_LT(distance(levels[i], levels[i - 1]), whole / 10.0);
        EXPECT_LT(distance(steadyLevels(facts, i, 2.0), steadyLevels(facts, i - 1, 2.0)),
                  whole / 10.0);
    }
}

TEST(SteadyLevels, FollowFlickerAndNotThings) {
    const std::vector<FrameFacts> clip = flickering(120, 4).frames;
    const std::vector<RealLevels> scene = sceneLevels(clip);
    for (std::size_t i = 1; i < clip.size(); ++i) {
        const double gain = clip[i].fromPrevious.light[0].map.gain;
        for (const bool whole : {false, true}) {
            const RealLevels before = whole ? scene[i - 1] : steadyLevels(clip, i - 1, 1.0);
            RealLevels expected = before;
            for (RealLine& line : expected) {
                line.black *= gain;
                line.white *= gain;
            }
            const RealLevels now = whole ? scene[i] : steadyLevels(clip, i, 1.0);
            EXPECT_LT(distance(now, expected), whole ? 0.2 : 0.4) << i;
        }
    }
}

TEST(SteadyLevels, OneSceneHasOneCorrectionUnderSteadyLight) {
    MadeClip clip;
    for (std::size_t i = 0; i < 100; ++i) {
        clip.add(20.0 + static_cast<double>(i % 7), 200.0 + static_cast<double>(i) / 5.0);
        if (i == 60) {
            clip.cut();
        }
    }
    const std::vector<RealLevels> levels = sceneLevels(clip.frames);
    for (std::size_t i = 1; i < levels.size(); ++i) {
        EXPECT_EQ(levels[i] == levels[i - 1], i != 60) << i;
    }
}

TEST(SteadyLevels, WhatLastsIsFollowedAndWhatPassesIsNot) {
    const double seconds = 1.0;
    MadeClip lasting; // levels that change for good, as when a camera turns to another part
    MadeClip passing; // a hand before the lens for half a second
    for (std::size_t i = 0; i < 250; ++i) {
        lasting.add(i < 125 ? 20.0 : 40.0, 220.0);
        passing.add(i >= 120 && i < 132 ? 2.0 : 20.0, 220.0);
    }
    EXPECT_NEAR(steadyLevels(lasting.frames, 125 - 50, seconds)[0].black, 20.0, 1.0);
    EXPECT_NEAR(steadyLevels(lasting.frames, 125 + 50, seconds)[0].black, 40.0, 1.0);
    EXPECT_NEAR(steadyLevels(passing.frames, 126, seconds)[0].black, 20.0, 0.2);
}

TEST(SteadyLevels, ASunsetIsFollowed) {
    MadeClip clip;
    for (std::size_t i = 0; i < 500; ++i) {
        const double light = 1.0 - 0.0008 * static_cast<double>(i);
        clip.add(20.0 * light, 220.0 * light, light / (light + 0.0008));
    }
    for (const std::size_t i : {150U, 250U, 350U}) {
        EXPECT_LT(distance(steadyLevels(clip.frames, i, 2.0), *clip.frames[i].levels), 1.0) << i;
    }
}

TEST(SteadyLevels, WithoutLevelsInReachAreNeutral) {
    MadeClip clip;
    for (std::size_t i = 0; i < 5; ++i) {
        clip.add(20.0, 200.0);
        clip.frames.back().levels.reset();
    }
    EXPECT_EQ(steadyLevels(clip.frames, 2, 1.0), RealLevels{});
}

} // namespace
} // namespace tintwell::steady
