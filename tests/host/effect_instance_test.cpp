#include "fake_module.h"
#include "host/effect_instance.h"
#include "host/host_error.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <thread>

namespace tintwell::host {
namespace {

using fake::Action;

constexpr ClipTiming kTiming{5, 1001, 30000};

/// Frames whose every byte is their index.
class NumberedFrames : public FrameSource {
public:
    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        auto made = std::make_shared<FrameBuffer>(64, 2, SampleDepth::Bits8);
        std::memset(made->row(0), index, 2 * made->rowBytes());
        last = made;
        return made;
    }

    std::weak_ptr<const FrameBuffer> last; ///< shows whether the host still keeps the frame
};

class EffectInstanceTest : public testing::Test {
protected:
    ControlTracks tracks(Action action, double offset = 0.0) const {
        ControlTracks made;
        made[static_cast<Control>(fake::kOffset)] = ControlTrack(offset);
        made[static_cast<Control>(fake::kAction)] = ControlTrack(static_cast<double>(action));
        return made;
    }

    std::unique_ptr<EffectInstance> setUp(const ControlTracks& controls,
                                          InstanceOptions options = {}) {
        options.timing = kTiming;
        options.frames = &frames;
        options.controls = controls;
        auto instance = std::make_unique<EffectInstance>(module, std::move(options));
        instance->setUp();
        return instance;
    }

    /// Renders a frame whose bytes are its index; gives the output's first byte.
    static int renderByte(EffectInstance& instance, std::int32_t frame) {
        FrameBuffer input(64, 2, SampleDepth::Bits8);
        std::memset(input.row(0), frame, 2 * input.rowBytes());
        FrameBuffer output(64, 2, SampleDepth::Bits8);
        instance.render(frame, input, output);
        return std::to_integer<int>(output.row(1)[0]);
    }

    static fake::Report report(EffectInstance& instance, std::int32_t frame) {
        FrameBuffer input(64, 2, SampleDepth::Bits8);
        FrameBuffer output(64, 2, SampleDepth::Bits8);
        instance.render(frame, input, output);
        fake::Report report{};
        std::memcpy(&report, output.row(0), sizeof report);
        return report;
    }

    /// The error of a render, or nothing.
    static std::optional<CommandError> renderError(EffectInstance& instance, std::int32_t frame) {
        try {
            renderByte(instance, frame);
        } catch (const CommandError& failure) {
            return failure;
        }
        return std::nullopt;
    }

    std::shared_ptr<const ModuleLibrary> module = std::make_shared<ModuleLibrary>(FAKE_EFFECT);
    NumberedFrames frames;
};

TEST_F(EffectInstanceTest, readsTheDeclarationsFromTheModule) {
    EffectInstance instance(module, {});
    EXPECT_THROW(renderByte(instance, 0), std::logic_error) << "not set up yet";
    instance.setUp();
    EXPECT_EQ(instance.info().version, 7U);
    EXPECT_EQ(instance.about(), "Fake v3.4\n\nSecond line");
    ASSERT_EQ(instance.declaredControls().size(), 3U);
    const ControlDeclaration& slider = instance.declaredControls()[0];
    EXPECT_EQ(slider.name, "Offset (frames)");
    EXPECT_EQ(slider.id, 11U);
    EXPECT_EQ(slider.validMinimum, -9.0F);
    EXPECT_EQ(slider.sliderMaximum, 1.0F);
    EXPECT_EQ(slider.defaultValue, 0.25);
    EXPECT_EQ(slider.precision, 2);
    EXPECT_TRUE(slider.percent);
    EXPECT_TRUE(slider.supervised());
    EXPECT_EQ(instance.declaredControls()[1].label, "beside");
    EXPECT_EQ(instance.controls()[Control::TemporalSmoothing].valueAt(0), 0.5);
    EXPECT_EQ(instance.controls()[Control::SceneDetect].valueAt(0), 1.0);
}

TEST_F(EffectInstanceTest, tellsTheModuleTimesAndControls) {
    ControlTracks controls = tracks(Action::Report);
    controls[static_cast<Control>(fake::kOffset)] =
        ControlTrack(std::vector<Keyframe>{{0, 0.0}, {4, 8.0}});
    controls[static_cast<Control>(fake::kSwitch)] =
        ControlTrack(std::vector<Keyframe>{{2, 0.0, Interpolation::Hold}, {3, 1.0}});
    InstanceOptions options;
    options.channelOrder = ChannelOrder::Bgra;
    const auto instance = setUp(controls, std::move(options));
    const fake::Report seen = report(*instance, 2);
    EXPECT_EQ(seen.currentTime, 2002);
    EXPECT_EQ(seen.timeStep, 1001);
    EXPECT_EQ(seen.localTimeStep, 1001);
    EXPECT_EQ(seen.totalDuration, 5005);
    EXPECT_EQ(seen.timeScale, 30000U);
    EXPECT_EQ(seen.quality, kQualityHigh);
    EXPECT_EQ(seen.applicationCode, kApplicationWithBgraPixels);
    EXPECT_EQ(seen.offsetAtNextFrame, 6.0);
    EXPECT_EQ(seen.switchAtNextFrame, 1);
    EXPECT_EQ(seen.keyBefore, 0);
    EXPECT_EQ(seen.keyAfter, 4004);
    EXPECT_EQ(seen.foreignReference, host_error::kWrongReference);
}

TEST_F(EffectInstanceTest, tellsTheModuleOfChangedControls) {
    const ControlTracks before = tracks(Action::Report, 1.0);
    const auto instance = setUp(before);
    ControlTracks after = before;
    after[static_cast<Control>(fake::kSwitch)] = ControlTrack(1.0);
    instance->setControls(after);
    EXPECT_EQ(report(*instance, 0).changedControls, 1 << fake::kSwitch);
    EXPECT_EQ(report(*instance, 0).stateUnchanged, 0);
    EXPECT_FALSE(instance->isDisabled(Control::SceneDetect));
    instance->setControls(tracks(Action::Report, 0.0), 3);
    EXPECT_TRUE(instance->isDisabled(Control::SceneDetect));
    instance->setControls(before);
    EXPECT_EQ(report(*instance, 0).stateUnchanged, 1);
}

TEST_F(EffectInstanceTest, handsOutNeighboursAndTakesThemBack) {
    const auto instance = setUp(tracks(Action::CopyNeighbour, 2.0));
    EXPECT_EQ(renderByte(*instance, 1), 3);
    EXPECT_TRUE(frames.last.expired());
    instance->setControl(static_cast<Control>(fake::kOffset), ControlTrack(-1.0));
    EXPECT_EQ(renderByte(*instance, 4), 3);
    instance->setControl(static_cast<Control>(fake::kOffset), ControlTrack(0.0));
    frames.last.reset();
    EXPECT_EQ(renderByte(*instance, 1), 1) << "the frame being rendered needs no source";
    EXPECT_EQ(instance->ledger().layerCheckOutsOf(3), 2U);
    EXPECT_EQ(instance->ledger().layerCheckOutsOf(1), 1U);
    EXPECT_EQ(instance->ledger().layerCheckOutsOf(4), 0U);
}

TEST_F(EffectInstanceTest, learnsTheClipsLengthLater) {
    const auto instance = setUp(tracks(Action::CopyNeighbour, 2.0));
    instance->setFrameCount(3);
    EXPECT_EQ(instance->frameCount(), 3);
    EXPECT_EQ(renderByte(*instance, 0), 2);
    EXPECT_EQ(renderError(*instance, 1).value().code(), host_error::kFrameOutsideClip);
    EXPECT_THROW(renderByte(*instance, 3), std::out_of_range);
    EXPECT_THROW(instance->setFrameCount(0), std::invalid_argument);
    instance->setControl(static_cast<Control>(fake::kAction),
                         ControlTrack(static_cast<double>(Action::Report)));
    EXPECT_EQ(report(*instance, 0).totalDuration, 3 * kTiming.timeStep);
}

TEST_F(EffectInstanceTest, reportsFailuresAsSentences) {
    const auto instance = setUp(tracks(Action::CopyNeighbour, 2.0));
    const auto outside = renderError(*instance, 4);
    ASSERT_TRUE(outside);
    EXPECT_EQ(outside->command(), Command::Render);
    EXPECT_EQ(outside->code(), host_error::kFrameOutsideClip);
    EXPECT_TRUE(outside->showRequested());
    EXPECT_STREQ(outside->what(), "the effect's Render command failed: the effect asked for a "
                                  "frame outside the clip (code 20002)");
    EXPECT_THROW(renderByte(*instance, 5), std::out_of_range);

    std::thread([&] { instance->requestAbort(); }).join();
    EXPECT_EQ(renderError(*instance, 1).value().code(), error::kInterrupted);
    instance->clearAbort();
    EXPECT_FALSE(renderError(*instance, 1));
    instance->setDown();
    EXPECT_TRUE(instance->ledger().outstanding().empty());
    EXPECT_THROW(renderByte(*instance, 1), std::logic_error);
}

TEST_F(EffectInstanceTest, showsLeaksAndMisuses) {
    const auto leaking = setUp(tracks(Action::Leak));
    renderByte(*leaking, 0);
    leaking->setDown();
    const std::vector<std::string> kLeaks = {
        "1 parameter(s) not checked in",
        "suite 'PF Handle Suite' 2 acquired 1 time(s) without a release",
        "1 handle(s) of 100 bytes in all not disposed"};
    EXPECT_EQ(leaking->ledger().outstanding(), kLeaks);

    const auto misusing = setUp(tracks(Action::Misuse));
    EXPECT_EQ(renderError(*misusing, 0).value().code(), host_error::kNotTaken);
    EXPECT_EQ(misusing->ledger().misuses.size(), 4U);
}

/// Lets each call of a service in a whole life fail in turn. The fake cleans up after itself, so
/// nothing may be left, and the code that was made up comes back.
TEST_F(EffectInstanceTest, canFailAnyCallOfAnyService) {
    constexpr ErrorCode kMadeUp = 4711;
    std::uint64_t failures = 0;
    bool failedOnce = true;
    for (std::uint64_t k = 1; failedOnce; ++k) {
        InstanceOptions options;
        options.timing = kTiming;
        options.controls = tracks(Action::CopyNeighbour, 0.0);
        std::uint64_t calls = 0;
        std::optional<Service> failed;
        options.hook = [&](Service service) {
            if (++calls == k) {
                failed = service;
            }
            return calls == k ? kMadeUp : error::kNone;
        };
        EffectInstance instance(module, std::move(options));
        const auto attempt = [&](const auto& steps) {
            try {
                steps();
            } catch (const CommandError& failure) {
                EXPECT_TRUE(failure.code() == kMadeUp || failure.code() == error::kOutOfMemory)
                    << failure.what();
                ++failures;
            }
        };
        attempt([&] {
            instance.setUp();
            instance.setControl(static_cast<Control>(fake::kSwitch), ControlTrack(1.0));
            renderByte(instance, 0);
        });
        attempt([&] { instance.setDown(); });
        failedOnce = failed.has_value();
        if (failed != Service::AcquireSuite) { // without the suite no handle can be disposed
            EXPECT_EQ(instance.ledger().outstanding(), std::vector<std::string>()) << k;
        }
    }
    EXPECT_GT(failures, 15U);
}

TEST_F(EffectInstanceTest, runsIndependentlyInTwoThreads) {
    const auto work = [&](double offset, std::int32_t frame) {
        NumberedFrames own;
        InstanceOptions options;
        options.timing = kTiming;
        options.frames = &own;
        options.controls = tracks(Action::CopyNeighbour, offset);
        EffectInstance instance(module, std::move(options));
        instance.setUp();
        for (int i = 0; i < 200; ++i) {
            ASSERT_EQ(renderByte(instance, frame), frame + static_cast<int>(offset));
        }
        instance.setDown();
        EXPECT_TRUE(instance.ledger().outstanding().empty());
    };
    std::thread forward(work, 1.0, 2);
    std::thread backward(work, -2.0, 3);
    forward.join();
    backward.join();
}

} // namespace
} // namespace tintwell::host
