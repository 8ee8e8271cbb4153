// The bundle in a host: what it renders is what the module renders of the same frames, whatever the
// host's ways.

#include "host/effect_instance.h"
#include "test_host.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <thread>

namespace tintwell::openfx {
namespace {

using host::Control;
using host::ControlTrack;
using host::FrameBuffer;

constexpr std::int32_t kFrames = 24;
constexpr std::int32_t kCut = 14;
constexpr host::ClipTiming kTiming{kFrames, 1001, 10010}; // 10 frames a second
constexpr const char* kDepths[] = {value::kByte, value::kShort, value::kFloat};

host::SampleDepth moduleDepthOf(const std::string& depth) {
    return depth == value::kByte ? host::SampleDepth::Bits8 : host::SampleDepth::Bits16;
}

/// A gradient with a cast whose lightest part flickers, and another one behind the cut.
std::shared_ptr<FrameBuffer> moduleFrame(std::int32_t index, host::SampleDepth depth) {
    std::mt19937 random(static_cast<unsigned>(index));
    const int flicker = static_cast<int>(random() % 20);
    auto frame = std::make_shared<FrameBuffer>(33, 7, depth);
    for (std::int32_t y = 0; y < frame->height(); ++y) {
        for (std::int32_t x = 0; x < frame->width(); ++x) {
            const int scene = index < kCut ? 30 + x * 3 : 90 + x * x / 12;
            const int level = scene + y + (x > 25 ? flicker : 0);
            const int pixel[4] = {255 - y, level, level - 8, level - 20};
            for (int c = 0; c < 4; ++c) {
                const auto deep = static_cast<std::uint16_t>(pixel[c] * 128);
                const auto flat = static_cast<std::uint8_t>(pixel[c]);
                const std::size_t size = depth == host::SampleDepth::Bits8 ? 1 : 2;
                std::memcpy(frame->row(y) + (x * 4 + c) * static_cast<std::ptrdiff_t>(size),
                            size == 1 ? static_cast<const void*>(&flat) : &deep, size);
            }
        }
    }
    return frame;
}

template <class Sample>
void append(std::vector<std::byte>& pixels, Sample sample) {
    const auto* bytes = reinterpret_cast<const std::byte*>(&sample);
    pixels.insert(pixels.end(), bytes, bytes + sizeof sample);
}

/// The module's pixels as this kind of host has them.
Picture pictureOf(const FrameBuffer& frame, const std::string& depth) {
    Picture picture = {frame.width(), frame.height(), {}};
    for (std::int32_t y = frame.height() - 1; y >= 0; --y) {
        for (std::int32_t i = 0; i < 4 * frame.width(); ++i) {
            const std::int32_t from = i / 4 * 4 + (i % 4 + 1) % 4; // R,G,B,A of A,R,G,B
            std::uint16_t deep = 0;
            if (depth == value::kByte) {
                picture.pixels.push_back(frame.row(y)[from]);
                continue;
            }
            std::memcpy(&deep, frame.row(y) + 2 * from, sizeof deep);
            if (depth == value::kShort) {
                append(picture.pixels,
                       static_cast<std::uint16_t>((deep * 65535U + 16384U) / 32768U));
            } else {
                append(picture.pixels, static_cast<float>(deep) / 32768.0F);
            }
        }
    }
    return picture;
}

struct Clip : host::FrameSource {
    explicit Clip(const std::string& depth) {
        for (std::int32_t i = 0; i < kFrames; ++i) {
            frames.push_back(moduleFrame(i, moduleDepthOf(depth)));
            pictures.push_back(pictureOf(*frames.back(), depth));
        }
    }

    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        return frames.at(static_cast<std::size_t>(index));
    }

    const Picture* at(double time) const {
        const double frame = std::floor(time + 0.001);
        return frame < 0.0 || frame >= kFrames ? nullptr
                                               : &pictures[static_cast<std::size_t>(frame)];
    }

    std::vector<std::shared_ptr<FrameBuffer>> frames;
    std::vector<Picture> pictures;
};

struct Case {
    const char* name;
    ControlTrack seconds;
    bool sceneDetect = false;
    bool snap = false;
    double blend = 0.0;
    bool isDraft = false;
    ControlTrack blackClip = ControlTrack({{0, 0.1}, {kFrames - 1, 4.0}});
};

constexpr double kWhiteClip = 1.0;

void setControls(EffectObject& instance, const Case& test) {
    const auto set = [&](const char* name, std::function<double(double)> valueAt) {
        instance.params.params.at(name).valueAt = std::move(valueAt);
    };
    const auto over = [](const ControlTrack& track) {
        return [track](double time) { return track.valueAt(static_cast<std::int32_t>(time)); };
    };
    set("temporalSmoothing", over(test.seconds));
    set("sceneDetect", [on = test.sceneDetect](double) { return on ? 1.0 : 0.0; });
    set("blackClip", over(test.blackClip));
    set("whiteClip", [](double) { return kWhiteClip; });
    set("snapNeutralMidtones", [on = test.snap](double) { return on ? 1.0 : 0.0; });
    set("blendWithOriginal", [blend = test.blend](double) { return blend; });
}

/// What the module renders of the clip.
std::vector<Picture> renderedByModule(Clip& clip, const Case& test, const std::string& depth) {
    host::ControlTracks controls;
    controls[Control::TemporalSmoothing] = test.seconds;
    controls[Control::SceneDetect] = ControlTrack(test.sceneDetect ? 1.0 : 0.0);
    controls[Control::BlackClip] = test.blackClip;
    controls[Control::WhiteClip] = ControlTrack(kWhiteClip);
    controls[Control::SnapNeutralMidtones] = ControlTrack(test.snap ? 1.0 : 0.0);
    controls[Control::BlendWithOriginal] = ControlTrack(test.blend);
    host::EffectInstance effect(
        std::make_shared<host::ModuleLibrary>(TINTWELL_MODULE_PATH),
        {kTiming, !test.isDraft, host::ChannelOrder::Argb, &clip, controls, {}});
    effect.setUp();
    std::vector<Picture> rendered;
    for (std::int32_t i = 0; i < kFrames; ++i) {
        FrameBuffer output(33, 7, moduleDepthOf(depth));
        effect.render(i, *clip.frame(i), output);
        rendered.push_back(pictureOf(output, depth));
    }
    return rendered;
}

Habits habitsFor(const char* depth) {
    Habits habits;
    habits.depth = depth;
    habits.lastFrame = kFrames - 1;
    habits.frameRate = 1.0e4 / 1001.0 * 1.001; // as the clip's timing, but for rounding
    return habits;
}

/// A host with a clip, and what is expected of it.
struct Stage {
    explicit Stage(const Habits& habits, const Case& controls)
        : test(controls), clip(habits.depth),
          expected(renderedByModule(clip, controls, habits.depth)),
          host(habits, [this](double time) { return clip.at(time); }) {}

    ~Stage() {
        for (const std::string& complaint : host.complaints) {
            ADD_FAILURE() << complaint;
        }
    }

    std::unique_ptr<EffectObject> instance() {
        auto created = host.create();
        setControls(*created, test);
        return created;
    }

    /// Renders a frame and holds it against the module's.
    void expectFrame(EffectObject& instance, double time) {
        Picture output;
        ASSERT_EQ(host.render(instance, time, output, test.isDraft), status::kOk);
        EXPECT_TRUE(output.pixels == expected[static_cast<std::size_t>(time + 0.001)].pixels)
            << "frame " << time;
    }

    Case test;
    Clip clip;
    std::vector<Picture> expected;
    TestHost host;
};

const Case kSmooth = {"smoothed over scenes", ControlTrack(1.0), true, true};

TEST(OpenFx, RendersWhatTheModuleRenders) {
    const Case cases[] = {
        {"frame by frame", ControlTrack(0.0), false, true},
        kSmooth,
        {"keyframed window", ControlTrack({{0, 0.0}, {6, 0.3}, {kFrames - 1, 4.0}})},
        {"window beyond the clip", ControlTrack(10.0)},
        {"draft", ControlTrack(1.0), false, false, 0.0, true},
        {"blended", ControlTrack(0.5), false, false, 30.0},
    };
    for (const Case& test : cases) {
        for (const char* depth : kDepths) {
            if (test.blend > 0.0 && depth == value::kFloat) {
                continue; // the module rounds twice
            }
            SCOPED_TRACE(std::string(test.name) + ", " + depth);
            Stage stage(habitsFor(depth), test);
            auto instance = stage.instance();
            for (std::int32_t frame = 0; frame < kFrames; ++frame) {
                stage.expectFrame(*instance, frame);
            }
            for (const int frame : {20, 3, 13, 14, 2}) {
                stage.expectFrame(*instance, frame);
            }
            stage.host.destroy(std::move(instance));
        }
    }
}

TEST(OpenFx, BearsWithHosts) {
    struct HabitCase {
        const char* name;
        std::function<void(Habits&)> change;
    };

    const HabitCase cases[] = {
        {"upside down", [](Habits& habits) { habits.isUpsideDown = true; }},
        {"a range too long", [](Habits& habits) { habits.lastFrame += 1; }},
        {"an infinite range",
         [](Habits& habits) {
             habits.firstFrame = -std::numeric_limits<double>::infinity();
             habits.lastFrame = std::numeric_limits<double>::infinity();
         }},
        {"a range of elsewhere",
         [](Habits& habits) { habits.firstFrame = habits.lastFrame = -500.0; }},
        {"images of nothing",
         [](Habits& habits) {
             habits.lastFrame += 3;
             habits.givesHollowImages = true;
         }},
        {"no messages", [](Habits& habits) { habits.hasMessages = false; }},
        {"an empty message suite", [](Habits& habits) { habits.hasMessageFunction = false; }},
        {"opaque", [](Habits& habits) { habits.preMultiplication = value::kOpaque; }},
    };
    for (const HabitCase& test : cases) {
        SCOPED_TRACE(test.name);
        Habits habits = habitsFor(value::kByte);
        test.change(habits);
        Stage stage(habits, kSmooth);
        auto instance = stage.instance();
        for (std::int32_t frame = 0; frame < kFrames; ++frame) {
            stage.expectFrame(*instance, frame + 0.0001);
        }
        stage.expectFrame(*instance, 10.5); // where the clip shows frame 10 still
        stage.host.destroy(std::move(instance));
    }
}

TEST(OpenFx, RemembersWhatAnotherInstanceFound) {
    Stage stage(habitsFor(value::kByte), kSmooth);
    for (std::int32_t frame = 0; frame < kFrames; ++frame) {
        auto instance = stage.instance();
        stage.expectFrame(*instance, frame);
        stage.host.destroy(std::move(instance));
    }
    // One that stays asks for the frames that enter the window only.
    auto instance = stage.instance();
    stage.expectFrame(*instance, 0.0);
    stage.host.imagesGiven = 0;
    stage.expectFrame(*instance, 1.0);
    EXPECT_EQ(stage.host.imagesGiven, 2);
    // And for all of it after what may have changed the clip.
    for (const char* action :
         {action::kPurgeCaches, action::kInstanceChanged, action::kBeginSequenceRender}) {
        PropertySetObject in{&argumentShapes(), {}};
        in.set(property::kType, {std::string(value::kTypeClip)});
        stage.host.send(action, instance.get(), &in, nullptr);
        stage.host.imagesGiven = 0;
        stage.expectFrame(*instance, 1.0);
        EXPECT_EQ(stage.host.imagesGiven, 7) << action;
    }
    stage.host.destroy(std::move(instance));
}

TEST(OpenFx, NoticesThatAClipHasChanged) {
    Stage stage(habitsFor(value::kByte), kSmooth);
    auto instance = stage.instance();
    stage.expectFrame(*instance, 5.0);
    for (std::size_t i = 0; i < kFrames; ++i) { // without a word
        stage.clip.frames[i] =
            moduleFrame(static_cast<std::int32_t>(i) + kCut, host::SampleDepth::Bits8);
        stage.clip.pictures[i] = pictureOf(*stage.clip.frames[i], value::kByte);
    }
    stage.expected = renderedByModule(stage.clip, kSmooth, value::kByte);
    stage.expectFrame(*instance, 6.0);
    stage.host.destroy(std::move(instance));
}

TEST(OpenFx, CorrectsEachFrameByItselfWhereThereAreNoOthers) {
    for (const bool pretends : {false, true}) {
        Habits habits = habitsFor(value::kByte);
        habits.hasTemporalAccess = pretends;
        habits.givesCurrentFrameOnly = true;
        Stage stage(habits, {.name = "", .seconds = {}, .blackClip = ControlTrack(1.0)});
        auto instance = stage.instance();
        stage.test.seconds = ControlTrack(2.0);
        setControls(*instance, stage.test);
        for (std::int32_t frame = 0; frame < kFrames; ++frame) {
            stage.expectFrame(*instance, frame);
        }
        const auto& params = stage.host.descriptor().params.params;
        EXPECT_EQ(
            params.at("temporalSmoothing").properties.values.contains(property::kParamEnabled),
            !pretends);
        stage.host.destroy(std::move(instance));
    }
}

TEST(OpenFx, MultipliesFloatsAgainAndKeepsWhatIsBeyondWhite) {
    Habits straight = habitsFor(value::kFloat);
    Habits multiplied = straight;
    multiplied.preMultiplication = value::kPremultiplied;
    std::vector<float> results[2];
    for (const bool isMultiplied : {false, true}) {
        Stage stage(isMultiplied ? multiplied : straight, {"", ControlTrack(0.0)});
        auto& pixels = stage.clip.pictures[4].pixels;
        std::vector<float> samples(pixels.size() / sizeof(float));
        std::memcpy(samples.data(), pixels.data(), pixels.size());
        samples[0] = 5.0F;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const float alpha = 0.25F + 0.0078125F * static_cast<float>(i / 4 % 7);
            samples[i] = i % 4 == 3 ? alpha : samples[i] * (isMultiplied ? alpha : 1.0F);
        }
        std::memcpy(pixels.data(), samples.data(), pixels.size());
        auto instance = stage.instance();
        Picture output;
        ASSERT_EQ(stage.host.render(*instance, 4.0, output), status::kOk);
        results[isMultiplied].resize(samples.size());
        std::memcpy(results[isMultiplied].data(), output.pixels.data(), output.pixels.size());
        stage.host.destroy(std::move(instance));
    }
    for (std::size_t i = 0; i < results[0].size(); ++i) {
        const float alpha = i % 4 == 3 ? 1.0F : results[0][i / 4 * 4 + 3];
        ASSERT_NEAR(results[1][i], results[0][i] * alpha, 1e-6) << i;
    }
    EXPECT_GT(results[0][0], 4.5F);
}

TEST(OpenFx, EndsWhereTheHostSaysOrHasNoMemory) {
    struct EndCase {
        const char* name;
        int abortsAfter;
        int refusesImage;
        Status expected;
    };

    const EndCase cases[] = {{"aborted between neighbours", 3, -1, status::kFailed},
                             {"aborted before the pixels", 10, -1, status::kFailed},
                             {"no memory for the source", -1, 0, status::kOutOfMemory},
                             {"no memory for a neighbour", -1, 4, status::kOutOfMemory}};
    for (const EndCase& test : cases) {
        SCOPED_TRACE(test.name);
        Habits habits = habitsFor(value::kByte);
        habits.abortsAfter = test.abortsAfter;
        habits.refusesImage = test.refusesImage;
        Stage stage(habits, kSmooth);
        auto instance = stage.instance();
        Picture output;
        EXPECT_EQ(stage.host.render(*instance, 9.0, output), test.expected);
        EXPECT_TRUE(stage.host.messages.empty());
        stage.host.habits.abortsAfter = -1;
        stage.expectFrame(*instance, 9.0); // and it goes on
        stage.host.destroy(std::move(instance));
    }
}

TEST(OpenFx, RefusesImagesThatItCannotRead) {
    Habits habits = habitsFor("OfxBitDepthQuarter");
    Clip clip(value::kFloat);
    TestHost host(habits, [&](double time) { return clip.at(time); });
    auto instance = host.create();
    Picture output;
    EXPECT_EQ(host.render(*instance, 0.0, output), status::kImageFormat);
    ASSERT_EQ(host.messages.size(), 1U);
    EXPECT_NE(host.messages[0].find("OfxBitDepthQuarter"), std::string::npos);
    EXPECT_EQ(host.send(action::kRender, nullptr, nullptr, nullptr), status::kBadHandle);
    EXPECT_EQ(host.send("OfxActionOfTomorrow", instance.get(), nullptr, nullptr),
              status::kReplyDefault);
    host.destroy(std::move(instance));
}

TEST(OpenFx, SaysWhatItNeeds) {
    Stage stage(habitsFor(value::kByte), kSmooth);
    auto instance = stage.instance();
    const Shapes frames = {{property::kSourceFrameRange, {0.0, 0, true}}};
    const Shapes region = {{property::kSourceRegionOfInterest, {0.0, 4, true}}};
    const Shapes identity = {{property::kName, {std::string(), 1, true}},
                             {property::kTime, {0.0, 1, true}}};
    using Values = std::vector<PropertyValue>;
    const auto framesAt = [&](double time) {
        return stage.host.ask(action::kGetFramesNeeded, *instance, time, frames)
            .at(property::kSourceFrameRange);
    };
    EXPECT_EQ(framesAt(12.0), (Values{7.0, 17.0}));
    EXPECT_EQ(framesAt(2.0), (Values{0.0, 7.0}));
    EXPECT_EQ(framesAt(22.5), (Values{17.0, 23.0}));
    EXPECT_EQ(stage.host.ask(action::kGetRegionsOfInterest, *instance, 2.0, region)
                  .at(property::kSourceRegionOfInterest),
              (Values{0.0, 0.0, 33.0, 7.0}));
    EXPECT_TRUE(stage.host.ask(action::kIsIdentity, *instance, 2.0, identity).empty());
    stage.test.blend = 100.0;
    stage.test.seconds = ControlTrack(0.0);
    setControls(*instance, stage.test);
    EXPECT_EQ(framesAt(12.5), (Values{12.5, 12.5}));
    const auto answer = stage.host.ask(action::kIsIdentity, *instance, 2.5, identity);
    EXPECT_EQ(answer.at(property::kName), (Values{std::string(value::kSourceClip)}));
    EXPECT_EQ(answer.at(property::kTime), (Values{2.5}));
    const auto& described = stage.host.descriptor().properties.values;
    EXPECT_EQ(described.at(property::kSupportsTiles), (Values{0}));
    EXPECT_EQ(described.at(property::kHostFrameThreading), (Values{0}));
    EXPECT_EQ(described.at(property::kSequentialRender), (Values{2}));
    EXPECT_EQ(described.at(property::kSupportedPixelDepths).size(), 3U);
    stage.host.destroy(std::move(instance));
}

TEST(OpenFx, ServesFortyInstancesOnThreadsAndThousandsInARow) {
    Stage stage(habitsFor(value::kByte), kSmooth);
    std::vector<std::thread> threads;
    std::vector<std::unique_ptr<EffectObject>> instances;
    instances.reserve(40);
    for (int i = 0; i < 40; ++i) {
        instances.push_back(stage.instance());
    }
    threads.reserve(4);
    for (std::size_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (std::size_t i = thread; i < instances.size(); i += 4) {
                stage.expectFrame(*instances[i], static_cast<double>(i % kFrames));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (auto& instance : instances) {
        stage.host.destroy(std::move(instance));
    }
    for (int i = 0; i < 10000; ++i) {
        stage.host.destroy(stage.host.create());
    }
}

} // namespace
} // namespace tintwell::openfx
