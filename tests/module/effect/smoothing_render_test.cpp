// Smoothed renders of whole clips through the module and the stand-alone host.

#include "host/effect_instance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <thread>
#include <utility>

namespace tintwell {
namespace {

using host::Control;
using host::ControlTrack;
using host::FrameBuffer;

constexpr std::int32_t kWidth = 33;
constexpr std::int32_t kHeight = 7;
using Pixels = std::vector<std::uint8_t>;

/// A frame of a scene: a gradient with noise, its brightness and cast flickering from frame to
/// frame. Other scenes lie in another range of levels.
std::shared_ptr<FrameBuffer> sceneFrame(std::int32_t frame, int scene) {
    std::mt19937 random(static_cast<unsigned>(frame * 8 + scene));
    const int flicker = static_cast<int>(random() % 12);
    auto buffer = std::make_shared<FrameBuffer>(kWidth, kHeight, host::SampleDepth::Bits8);
    for (std::int32_t y = 0; y < kHeight; ++y) {
        for (std::int32_t x = 0; x < kWidth; ++x) {
            const int level = 40 + scene * 60 + x * 2 + y + static_cast<int>(random() % 5);
            const int pixel[4] = {255, level + flicker, level, level - 10 + flicker / 2};
            for (int c = 0; c < 4; ++c) {
                buffer->row(y)[x * 4 + c] = static_cast<std::byte>(pixel[c]);
            }
        }
    }
    return buffer;
}

class ClipSource : public host::FrameSource {
public:
    explicit ClipSource(const std::vector<int>& scenes) {
        for (std::size_t i = 0; i < scenes.size(); ++i) {
            frames.push_back(sceneFrame(static_cast<std::int32_t>(i), scenes[i]));
        }
    }

    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        return frames.at(static_cast<std::size_t>(index));
    }

    std::int32_t count() const { return static_cast<std::int32_t>(frames.size()); }

    std::vector<std::shared_ptr<FrameBuffer>> frames;
};

host::ControlTracks smoothingControls(double seconds, bool sceneDetect = false) {
    host::ControlTracks controls;
    controls[Control::TemporalSmoothing] = ControlTrack(seconds);
    controls[Control::SceneDetect] = ControlTrack(sceneDetect ? 1.0 : 0.0);
    controls[Control::BlackClip] = ControlTrack(0.1);
    controls[Control::WhiteClip] = ControlTrack(0.1);
    return controls;
}

/// Ten frames a second.
struct Session {
    Session(ClipSource& clip, const host::ControlTracks& controls, bool highQuality = true)
        : source(clip) {
        host::InstanceOptions options;
        options.timing = {clip.count(), 1, 10};
        options.frames = &clip;
        options.controls = controls;
        options.highQuality = highQuality;
        effect = std::make_unique<host::EffectInstance>(
            std::make_shared<host::ModuleLibrary>(TINTWELL_MODULE_PATH), options);
        effect->setUp();
    }

    Pixels render(std::int32_t frame) {
        FrameBuffer output(kWidth, kHeight, host::SampleDepth::Bits8);
        effect->render(frame, *source.frames[static_cast<std::size_t>(frame)], output);
        Pixels pixels;
        for (std::int32_t y = 0; y < kHeight; ++y) {
            for (std::int32_t i = 0; i < kWidth * 4; ++i) {
                pixels.push_back(std::to_integer<std::uint8_t>(output.row(y)[i]));
            }
        }
        return pixels;
    }

    std::vector<Pixels> renderInOrder(const std::vector<std::int32_t>& order) {
        std::vector<Pixels> frames(order.size());
        for (const std::int32_t frame : order) {
            frames[static_cast<std::size_t>(frame)] = render(frame);
        }
        return frames;
    }

    std::uint64_t layerReads() const {
        const host::Ledger ledger = effect->ledger();
        return std::accumulate(ledger.layerCheckOuts.begin(), ledger.layerCheckOuts.end(),
                               std::uint64_t{0});
    }

    ClipSource& source;
    std::unique_ptr<host::EffectInstance> effect;
};

std::vector<std::int32_t> forward(std::int32_t count) {
    std::vector<std::int32_t> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), 0);
    return order;
}

/// Mean of the red samples of the upper half.
double meanRed(const Pixels& pixels) {
    const std::size_t count = pixels.size() / 8;
    double sum = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        sum += pixels[4 * i + 1];
    }
    return sum / static_cast<double>(count);
}

/// Sum of the changes of that mean from frame to frame.
double variation(Session& session) {
    double sum = 0.0;
    for (std::int32_t frame = 1; frame < session.source.count(); ++frame) {
        sum += std::abs(meanRed(session.render(frame)) - meanRed(session.render(frame - 1)));
    }
    return sum;
}

TEST(SmoothedRender, AnyOrderGivesTheSameBytesWithKeyframedControls) {
    ClipSource clip({0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2});
    host::ControlTracks controls = smoothingControls(0.6, true);
    controls[Control::BlackClip] = ControlTrack(
        {{0, 0.0, host::Interpolation::Linear}, {6, 8.0, host::Interpolation::Hold}, {9, 0.5, {}}});
    controls[Control::SnapNeutralMidtones] =
        ControlTrack({{0, 0.0, host::Interpolation::Hold}, {4, 1.0, host::Interpolation::Hold}});
    std::vector<std::int32_t> order = forward(clip.count());
    const std::vector<Pixels> expected = Session(clip, controls).renderInOrder(order);

    std::ranges::reverse(order);
    EXPECT_EQ(Session(clip, controls).renderInOrder(order), expected) << "reverse";
    std::ranges::shuffle(order, std::mt19937(7));
    EXPECT_EQ(Session(clip, controls).renderInOrder(order), expected) << "shuffled";
    for (const std::int32_t frame : {0, 5, 11}) {
        EXPECT_EQ(Session(clip, controls).render(frame), expected[static_cast<std::size_t>(frame)])
            << "frame " << frame << " alone";
    }
}

TEST(SmoothedRender, EachNewFrameReadsTheCurrentTheEnteringAndTheOneBeyond) {
    std::vector<std::uint64_t> costs;
    for (const double seconds : {1.0, 4.0}) {
        ClipSource clip(std::vector<int>(80, 0));
        Session session(clip, smoothingControls(seconds));
        for (std::int32_t frame = 0; frame < 30; ++frame) {
            session.render(frame);
        }
        const std::uint64_t before = session.layerReads();
        for (std::int32_t frame = 30; frame < 40; ++frame) {
            session.render(frame);
        }
        costs.push_back(session.layerReads() - before);
    }
    EXPECT_EQ(costs, (std::vector<std::uint64_t>{30, 30}));
}

TEST(SmoothedRender, DraftQualityIsNeverSmoothed) {
    ClipSource clip(std::vector<int>(5, 0));
    Session draft(clip, smoothingControls(2.0), false);
    Session off(clip, smoothingControls(0.0));
    EXPECT_EQ(draft.render(2), off.render(2));
    EXPECT_EQ(draft.layerReads(), 0U);
}

TEST(SmoothedRender, SteadiesASceneInWhichLightsComeAndGo) {
    ClipSource clip(std::vector<int>(30, 0));
    std::mt19937 random(3);
    for (auto& frame : clip.frames) {
        frame = sceneFrame(0, 0);
        std::fill_n(frame->row(kHeight - 1), 4 * (1 + random() % 8), std::byte{250});
    }
    Session off(clip, smoothingControls(0.0));
    Session on(clip, smoothingControls(2.0));
    const double unsteady = variation(off);
    EXPECT_GT(unsteady, 30.0) << "the scene is one that needs smoothing";
    EXPECT_LT(variation(on), unsteady / 2);
}

TEST(SmoothedRender, SceneDetectKeepsNeighbouringScenesApart) {
    struct Case {
        const char* what;
        std::vector<int> scenes;
    };

    for (const Case& c : {Case{"a hard cut", {0, 0, 0, 0, 3, 3, 3, 3}},
                          Case{"a scene of one frame", {0, 0, 0, 3, 0, 0, 0, 0}},
                          Case{"a flash at the start", {3, 0, 0, 0, 0, 0, 0, 0}}}) {
        ClipSource clip(c.scenes);
        Session session(clip, smoothingControls(2.0, true));
        for (std::int32_t frame = 0; frame < clip.count(); ++frame) {
            // The same frame with the other scene's frames replaced by others must not change.
            ClipSource other(c.scenes);
            for (std::int32_t i = 0; i < clip.count(); ++i) {
                if (c.scenes[static_cast<std::size_t>(i)] !=
                    c.scenes[static_cast<std::size_t>(frame)]) {
                    other.frames[static_cast<std::size_t>(i)] = sceneFrame(100 + i, 1);
                }
            }
            EXPECT_EQ(Session(other, smoothingControls(2.0, true)).render(frame),
                      session.render(frame))
                << c.what << ", frame " << frame;
        }
    }
}

TEST(SmoothedRender, AChangedControlEmptiesTheCache) {
    ClipSource clip(std::vector<int>(6, 0));
    Session session(clip, smoothingControls(2.0));
    session.render(3);
    const std::uint64_t filled = session.layerReads();
    session.render(3);
    EXPECT_EQ(session.layerReads(), filled + 1) << "only the current frame is read again";

    host::ControlTracks changed = smoothingControls(2.0);
    changed[Control::WhiteClip] = ControlTrack(5.0);
    session.effect->setControls(changed);
    EXPECT_EQ(session.render(3), Session(clip, changed).render(3));
    EXPECT_EQ(session.layerReads(), 2 * filled + 1);
}

TEST(SmoothedRender, ChangedFramesAreRefreshedWhereTheHostCannotTellStates) {
    ClipSource clip(std::vector<int>(6, 0));
    Session session(clip, smoothingControls(2.0));
    session.render(3);
    session.effect->setHook([](host::Service service) {
        return service == host::Service::CurrentState ? ErrorCode{1} : ErrorCode{0};
    });
    host::ControlTracks changed = smoothingControls(2.0);
    changed[Control::WhiteClip] = ControlTrack(5.0);
    session.effect->setControls(changed);
    EXPECT_EQ(session.render(3), Session(clip, changed).render(3));
}

/// Gives every pixel the red of another one: other colours, but the same fingerprint.
void shiftRed(FrameBuffer& frame) {
    for (std::int32_t y = 0; y < kHeight; ++y) {
        for (std::int32_t x = 1; x < kWidth; ++x) {
            std::swap(frame.row(y)[x * 4 + 1], frame.row(y)[x * 4 - 3]);
        }
    }
}

void addLight(FrameBuffer& frame) {
    std::fill_n(frame.row(0), 40, std::byte{250});
}

TEST(SmoothedRender, FramesChangedWithoutTellingAreSeenWhereTheyAreReadAgain) {
    struct Case {
        const char* what;
        std::size_t frame;
        void (*change)(FrameBuffer&);
        bool isDuringRender, isSeen;
    };

    // Frame 3 is rendered with frames 1 to 5, and 0 and 6 are looked at. For frame 4, 6 enters.
    for (const Case& c :
         {Case{"the current frame", 4, addLight, false, true},
          Case{"its colours only", 4, shiftRed, false, true},
          Case{"its colours, once its fingerprint is read", 4, shiftRed, true, true},
          Case{"a neighbour", 5, addLight, false, false},
          Case{"the frame beyond the window", 6, addLight, false, true}}) {
        ClipSource unchanged(std::vector<int>(9, 0));
        ClipSource clip(std::vector<int>(9, 0));
        Session session(clip, smoothingControls(0.4));
        session.render(3);
        if (!c.isDuringRender) {
            c.change(*clip.frames[c.frame]);
        }
        session.effect->setHook([&, isDue = c.isDuringRender](host::Service service) mutable {
            if (service == host::Service::CheckInParameter && std::exchange(isDue, false)) {
                c.change(*clip.frames[c.frame]);
            }
            return ErrorCode{0};
        });
        const Pixels rendered = session.render(4);
        const Pixels seen = Session(clip, smoothingControls(0.4)).render(4);
        const Pixels unseen = Session(unchanged, smoothingControls(0.4)).render(4);
        EXPECT_NE(seen, unseen) << c.what << ": a change that matters";
        EXPECT_EQ(rendered, c.isSeen ? seen : unseen) << c.what;
    }
}

TEST(SmoothedRender, InstancesOnTwoThreadsAgreeWithOneAlone) {
    ClipSource clip({0, 0, 0, 0, 1, 1, 1, 1});
    const auto order = forward(clip.count());
    const auto renderAll = [&] {
        return Session(clip, smoothingControls(1.0)).renderInOrder(order);
    };
    const std::vector<Pixels> expected = renderAll();
    std::vector<Pixels> first;
    std::vector<Pixels> second;
    // Loading and unloading happen under the loader's own lock, which the thread sanitizer misses.
    const host::ModuleLibrary loaded(TINTWELL_MODULE_PATH);
    std::thread other([&] { first = renderAll(); });
    second = renderAll();
    other.join();
    EXPECT_EQ(first, expected);
    EXPECT_EQ(second, expected);
}

} // namespace
} // namespace tintwell
