#include "host/effect_instance.h"
#include "host/host_error.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace tintwell::host {
namespace {

FrameBuffer gradient() {
    FrameBuffer made(16, 2, SampleDepth::Bits8);
    for (std::size_t i = 0; i < 2 * made.rowBytes(); ++i) {
        made.row(0)[i] = static_cast<std::byte>(40 + i / 4 * (i % 4 + 1));
    }
    return made;
}

class Source : public FrameSource {
public:
    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        return index < 8 ? std::make_shared<FrameBuffer>(gradient())
                         : throw std::runtime_error("frame 8 is torn");
    }
};

/// Nine frames of 1001/30000 seconds, the last of them torn.
class EffectInstanceTest : public testing::Test {
public:
    /// Three frames of smoothing, if any: two on each side, and a look at the one beyond.
    InstanceOptions options(bool smoothed, ServiceHook hook = {}) {
        ControlTracks controls;
        controls[Control::TemporalSmoothing] = ControlTrack(smoothed ? 0.1001 : 0.0);
        return {.timing = {9, 1001, 30000},
                .frames = &frames,
                .controls = controls,
                .hook = std::move(hook)};
    }

    static FrameBuffer render(EffectInstance& instance, std::int32_t frame) {
        const FrameBuffer input = gradient();
        FrameBuffer output(16, 2, SampleDepth::Bits8);
        instance.render(frame, input, output);
        return output;
    }

    static CommandError renderError(EffectInstance& instance, std::int32_t frame) {
        try {
            render(instance, frame);
        } catch (const CommandError& failure) {
            return failure;
        }
        return CommandError(Command::Render, 0, false, "none");
    }

    Source frames;
    std::shared_ptr<const ModuleLibrary> module =
        std::make_shared<ModuleLibrary>(TINTWELL_MODULE_PATH);
};

TEST_F(EffectInstanceTest, readsWhatTheModuleSaysOfItself) {
    EffectInstance instance(module, {});
    EXPECT_THROW(render(instance, 0), std::logic_error) << "not set up yet";
    instance.setUp();
    EXPECT_EQ(instance.about().rfind("Tintwell, v1.0\n\n", 0), 0U) << instance.about();
    EXPECT_EQ(instance.declaredControls().at(5).precision, 1);
    EXPECT_EQ(instance.controls()[Control::BlackClip].valueAt(0), 0.1);
}

TEST_F(EffectInstanceTest, tellsTheModuleTheTimesOfTheClip) {
    const std::pair<std::int32_t, std::vector<std::uint32_t>> kExpected[] = {
        {0, {1, 1, 1, 1}}, {3, {1, 1, 1, 1, 1, 1, 1}}, {4, {0, 1, 1, 1, 1, 1, 1, 1}}};
    for (const auto& [frame, layerCheckOuts] : kExpected) {
        EffectInstance instance(module, options(true));
        instance.setUp();
        render(instance, frame);
        EXPECT_EQ(instance.ledger().layerCheckOuts, layerCheckOuts) << frame;
    }
}

TEST_F(EffectInstanceTest, tellsTheModuleWhereAlphaIs) {
    for (const ChannelOrder order : {ChannelOrder::Argb, ChannelOrder::Bgra}) {
        InstanceOptions ordered = options(false);
        ordered.channelOrder = order;
        EffectInstance instance(module, ordered);
        instance.setUp();
        const FrameBuffer before = gradient();
        const FrameBuffer after = render(instance, 0);
        for (std::size_t channel = 0; channel < 4; ++channel) {
            const std::size_t last = 15 * 4 + channel;
            EXPECT_EQ(after.row(1)[last] == before.row(1)[last],
                      channel == (order == ChannelOrder::Argb ? 0 : 3));
        }
    }
}

TEST_F(EffectInstanceTest, tellsTheModuleOfChangedControls) {
    EffectInstance instance(module, options(false));
    instance.setUp();
    instance.setControl(Control::BlackClip, ControlTrack(5.0));
    EXPECT_EQ(instance.ledger().callsOf(Service::FindKeyframe), 2U) << "of that control alone";
    EXPECT_TRUE(instance.isDisabled(Control::SceneDetect));
    const ControlTrack later(std::vector<Keyframe>{{2, 0.0}, {4, 2.0}});
    instance.setControl(Control::TemporalSmoothing, later, 3);
    EXPECT_FALSE(instance.isDisabled(Control::SceneDetect)) << "there is smoothing at frame 3";
}

TEST_F(EffectInstanceTest, learnsTheClipsLengthLater) {
    EffectInstance instance(module, options(true));
    instance.setUp();
    EXPECT_NE(renderError(instance, 7).code(), 0) << "looks at the torn frame";
    instance.setFrameCount(8);
    EXPECT_EQ(instance.frameCount(), 8);
    EXPECT_EQ(renderError(instance, 7).code(), 0) << "nothing beyond frame 7 is looked at";
    EXPECT_THROW(render(instance, 8), std::out_of_range);
    EXPECT_THROW(instance.setFrameCount(0), std::invalid_argument);
}

TEST_F(EffectInstanceTest, reportsFailuresAsSentences) {
    EffectInstance instance(module, options(true));
    instance.setUp();
    const CommandError torn = renderError(instance, 7);
    EXPECT_EQ(torn.command(), Command::Render);
    EXPECT_EQ(torn.code(), host_error::kFrameUnavailable);
    EXPECT_TRUE(torn.showRequested());
    EXPECT_STREQ(torn.what(), "the effect's Render command failed: a frame the effect asked for "
                              "could not be read (code 20003): frame 8 is torn");
    EXPECT_THROW(render(instance, 9), std::out_of_range);

    std::thread([&] { instance.requestAbort(); }).join();
    const CommandError aborted = renderError(instance, 1);
    EXPECT_EQ(aborted.code(), error::kInterrupted);
    EXPECT_FALSE(aborted.showRequested());
    instance.clearAbort();
    EXPECT_EQ(renderError(instance, 1).code(), 0);
    instance.setDown();
    EXPECT_THROW(render(instance, 1), std::logic_error);
}

/// Lets each call of a service in a whole life fail in turn. The code that was made up comes back,
/// and nothing may be left that the module could still have given back.
TEST_F(EffectInstanceTest, canFailAnyCallOfAnyService) {
    constexpr ErrorCode kMadeUp = 4711;
    int failures = 0;
    std::optional<Service> failed = Service::Abort;
    for (int k = 1; failed; ++k) {
        failed.reset();
        bool settingDown = false;
        EffectInstance instance(module, options(true, [&, calls = 0](Service service) mutable {
                                    // Without its suite a set-down cannot free the cache.
                                    if (settingDown && service == Service::AcquireSuite) {
                                        return error::kNone;
                                    }
                                    if (++calls == k) {
                                        failed = service;
                                    }
                                    return calls == k ? kMadeUp : error::kNone;
                                }));
        const auto attempt = [&](const auto& step) {
            try {
                step();
            } catch (const CommandError& failure) {
                EXPECT_TRUE(failure.code() == kMadeUp || failure.code() == error::kOutOfMemory)
                    << failure.what();
                ++failures;
            }
        };
        attempt([&] {
            instance.setUp();
            instance.setControl(Control::SceneDetect, ControlTrack(1.0));
            render(instance, 0);
        });
        settingDown = true;
        attempt([&] { instance.setDown(); });
        if (failed != Service::ReleaseStringTable) { // it ends GlobalSetdown before the disposal
            EXPECT_EQ(instance.ledger().outstanding(), std::vector<std::string>()) << k;
        }
    }
    EXPECT_GT(failures, 15);
}

} // namespace
} // namespace tintwell::host
