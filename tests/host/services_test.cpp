// Plays a module that gives wild arguments, looks far and wide and does not clean up.

#include "host/callbacks.h"
#include "host/host_error.h"
#include "host/service_gate.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>

namespace tintwell::host {
namespace {

TEST(StringTables, giveTheTextAfterTheKey) {
    EXPECT_EQ(textOfKeyString("a/b=one#{cr}#{cr}two=2"), "one\n\ntwo=2");
    EXPECT_EQ(textOfKeyString("a/b="), "");
    EXPECT_EQ(textOfKeyString("no key"), "no key");
}

/// Cannot read frame 0, has no frame 1, and remembers the last one it handed out.
class Source : public FrameSource {
public:
    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        if (index == 0) {
            throw std::runtime_error("cannot read");
        }
        auto made = index == 1 ? nullptr : std::make_shared<FrameBuffer>(8, 2, SampleDepth::Bits8);
        last = made;
        return made;
    }

    std::weak_ptr<const FrameBuffer> last;
};

/// A clip of 5 frames of 10 units each, 100 units a second.
class Callbacks : public testing::Test {
public:
    Callbacks() {
        installCallbacks(in);
        in.suiteProvider->acquire(kHandleSuiteName, kHandleSuiteVersion, &suite);
    }

    ErrorCode checkOut(std::int32_t index, std::int32_t time, std::uint32_t timeScale = 100) {
        return in.checkoutParameter(me, index, time, 10, timeScale, &param);
    }

    Source source;
    Services services{{5, 10, 100}, &source};
    InData in{};
    const std::uint64_t me = services.reference();
    ParamDef param{};
    std::optional<RunningCommand> running{std::in_place, services};
    const void* suite = nullptr;
};

TEST_F(Callbacks, answerBadArgumentsWithCodes) {
    EXPECT_EQ(in.checkoutParameter(me + 8, 0, 20, 10, 100, &param), host_error::kWrongReference);
    EXPECT_EQ(in.checkoutParameter(me, 0, 20, 10, 100, nullptr), error::kMissingRecord);
    EXPECT_EQ(checkOut(0, 20, 0), host_error::kBadArgument);
    EXPECT_EQ(checkOut(1, 20), host_error::kBadArgument);
    EXPECT_EQ(checkOut(0, -1), host_error::kFrameOutsideClip);
    EXPECT_EQ(checkOut(0, 50), host_error::kFrameOutsideClip);
    EXPECT_EQ(checkOut(0, 10), host_error::kFrameUnavailable);
    EXPECT_EQ(services.takeFailure(), "");
    EXPECT_EQ(checkOut(0, 0), host_error::kFrameUnavailable);
    EXPECT_EQ(services.takeFailure(), "cannot read");
    EXPECT_EQ(in.addParameter(me, -1, &param), host_error::kBadArgument) << "a layer";
    EXPECT_EQ(in.lookupString(nullptr, 0, 0, 0), nullptr);
    const auto& handles = *static_cast<const HandleSuite*>(suite);
    EXPECT_EQ(in.suiteProvider->acquire(kHandleSuiteName, 3, &suite), host_error::kNoSuchSuite);
    EXPECT_EQ(suite, nullptr);
    services.setHook([](Service) -> ErrorCode { throw std::bad_alloc(); });
    EXPECT_EQ(handles.newHandle(8), nullptr);
    EXPECT_EQ(in.abort(me), error::kOutOfMemory);
    services.setHook([](Service) -> ErrorCode { throw 1; });
    EXPECT_EQ(in.abort(me), host_error::kHostFailure);
    EXPECT_EQ(services.ledger().outstanding().size(), 1U) << "the suite, and nothing else";
    running.reset();
    EXPECT_EQ(checkOut(0, 20), host_error::kWrongReference) << "no command is running";
}

TEST_F(Callbacks, keepFramesUntilTheyAreCheckedIn) {
    ASSERT_EQ(checkOut(0, 39), 0);
    EXPECT_EQ(param.layer.width, 8);
    EXPECT_FALSE(source.last.expired());
    EXPECT_EQ(in.checkinParameter(me, &param), 0);
    EXPECT_TRUE(source.last.expired());
    const FrameBuffer current(16, 2, SampleDepth::Bits8);
    services.setCurrentFrame(3, &current);
    ASSERT_EQ(checkOut(0, 9, 30), 0);
    EXPECT_EQ(param.layer.data, current.row(0)) << "the frame being rendered needs no source";
    EXPECT_EQ(services.ledger().layerCheckOuts, (std::vector<std::uint32_t>{0, 0, 0, 2}));
}

TEST_F(Callbacks, tellControlsOverTime) {
    param.type = ControlType::FloatSlider;
    std::memset(param.name, 'x', sizeof param.name); // no terminator
    ASSERT_EQ(in.addParameter(me, -1, &param), 0);
    param.type = ControlType::Checkbox;
    {
        const std::string label = "beside"; // the host keeps its own copy
        param.checkbox = {1, 1, {}, label.c_str()};
        ASSERT_EQ(in.addParameter(me, -1, &param), 0);
    }
    EXPECT_EQ(services.parameters().declarations()[0].name, std::string(32, 'x'));
    EXPECT_EQ(services.parameters().declarations()[1].label, "beside");

    ControlTracks tracks;
    tracks[Control{1}] = ControlTrack(std::vector<Keyframe>{{0, 0.0}, {4, 8.0}});
    tracks[Control{2}] = ControlTrack(std::vector<Keyframe>{{1, 0.0}, {4, 1.0}});
    services.parameters().setTracks(tracks);
    EXPECT_EQ(checkOut(1, 900, 3000), 0);
    EXPECT_EQ(param.slider.value, 6.0);
    for (const std::int32_t frame : {2, 3}) { // a third and two thirds on
        EXPECT_EQ(checkOut(2, frame * 10), 0);
        EXPECT_EQ(param.checkbox.value, frame == 3 ? 1 : 0);
    }
    ASSERT_EQ(in.suiteProvider->acquire(kParamUtilsSuiteName, kParamUtilsSuiteVersion, &suite), 0);
    for (const std::int32_t direction : {0, 1}) {
        std::uint8_t found = 0;
        std::int32_t index = -1;
        std::int32_t time = -1;
        std::uint32_t scale = 0;
        EXPECT_EQ(static_cast<const ParamUtilsSuite*>(suite)->findKeyframeTime(
                      me, 1, 600, 3000, direction, &found, &index, &time, &scale),
                  0);
        EXPECT_EQ(found, 1);
        EXPECT_EQ(index, 1 - direction);
        EXPECT_EQ(time, direction == 1 ? 0 : 40);
        EXPECT_EQ(scale, 100U);
    }
}

TEST_F(Callbacks, keepAccountOfLeaksAndMisuses) {
    ASSERT_EQ(checkOut(0, 20), 0);
    const auto& handles = *static_cast<const HandleSuite*>(suite);
    handles.newHandle(100);
    handles.disposeHandle(handles.newHandle(28));
    void* unknown = nullptr;
    handles.disposeHandle(&unknown);
    EXPECT_EQ(in.suiteProvider->release(kHandleSuiteName, 1), host_error::kNotTaken);
    EXPECT_EQ(in.releaseStringTable(&unknown, nullptr, &unknown), host_error::kNotTaken);
    EXPECT_EQ(in.checkinParameter(me, nullptr), host_error::kNotTaken);
    in.suiteProvider->acquire(kHandleSuiteName, kHandleSuiteVersion, &suite);
    EXPECT_EQ(in.suiteProvider->release(kHandleSuiteName, kHandleSuiteVersion), 0);
    const std::vector<std::string> kExpected = {
        "1 parameter(s) not checked in",
        "suite 'PF Handle Suite' 2 acquired 1 time(s) without a release",
        "1 handle(s) of 100 bytes in all not disposed",
        "a handle was disposed that was not allocated",
        "suite 'PF Handle Suite' 1 was released without having been acquired",
        "a string table was released that was not registered",
        "a parameter was checked in that was not checked out"};
    EXPECT_EQ(services.ledger().outstanding(), kExpected);
}

} // namespace
} // namespace tintwell::host
