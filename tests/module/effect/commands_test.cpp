// What each command takes from the host and gives back, and what becomes of a host that fails.

#include "raw_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>

namespace tintwell::test {
namespace {

using Calls = std::vector<std::string>;

const std::string kHandles = "PF Handle Suite 2";
const std::string kParams = "PF Param Utils Suite 3";
const std::string kEuro = "\u20ac"; // three bytes

TEST(Dispatch, IgnoresNumbersThatAreNoCommands) {
    for (const std::int32_t command :
         {2, 7, 9, 10, 12, 15, 16, 1000, -1, -1000, std::numeric_limits<std::int32_t>::max(),
          std::numeric_limits<std::int32_t>::min()}) {
        RawHost host;
        std::memset(static_cast<void*>(&host.out), 0x5a, sizeof host.out);
        const OutData before = host.out;
        EXPECT_EQ(host.send(command), 0) << command;
        EXPECT_EQ(host.calls, Calls());
        EXPECT_EQ(std::memcmp(&host.out, &before, sizeof before), 0) << command;
        host.inPointer = nullptr;
        host.outPointer = nullptr;
        EXPECT_EQ(host.send(command), 0) << command;
    }
}

TEST(GlobalSetup, RegistersTheTextsAndKeepsTheReference) {
    RawHost host;
    host.out.outFlags = 1;
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    const std::string registers = "register Tintwell 4215";
    EXPECT_EQ(host.calls,
              (Calls{registers, "acquire " + kHandles, "new 8", "release " + kHandles}));
    EXPECT_EQ(host.out.version, 0x80600U);
    EXPECT_EQ(host.out.outFlags, 0x2000003U);
    EXPECT_EQ(host.out.outFlags2, 64U);
    ASSERT_NE(host.in.globalData, nullptr);
    EXPECT_EQ(host.in.globalData, host.out.globalData);
    EXPECT_EQ(std::memcmp(*host.in.globalData, std::data({&host.tableReference}), 8), 0);

    // A second setup takes the place of the first.
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    EXPECT_EQ(host.calls,
              (Calls{registers, "acquire " + kHandles, "dispose", "new 8", "release " + kHandles}));
    EXPECT_EQ(host.handles.size(), 1U);
}

TEST(GlobalSetup, RegistersTheseTexts) {
    constexpr const char* kTexts[] = {"Tintwell, v%d.%d#{cr}#{cr}",
                                      "Tintwell",
                                      "Temporal Smoothing (seconds)",
                                      "Scene Detect",
                                      "Black Clip",
                                      "White Clip",
                                      "Snap Neutral Midtones",
                                      "Blend With Original"};
    RawHost host;
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    EXPECT_STREQ(host.descriptor.name, "");
    ASSERT_EQ(host.descriptor.count, 9);
    for (std::size_t i = 0; i < 8; ++i) {
        const std::string text = host.descriptor.entries[i].keyString;
        const std::string start = "$$$/QX/Tintwell/LStr/000" + std::to_string(i) + "=" + kTexts[i];
        EXPECT_EQ(text.substr(0, start.size()), start);
        EXPECT_EQ(text.size() > start.size(), i == 0) << "only the first one goes on";
    }
    EXPECT_EQ(host.descriptor.entries[8].keyString, nullptr) << "for hosts that read nine";
    const std::string about = host.descriptor.entries[0].keyString;
    EXPECT_TRUE(about.ends_with("#{cr}#{cr}Automatically adjust color by searching for shadows, "
                                "midtones and highlights."));
}

TEST(GlobalSetdown, ReleasesTheTextsAndTheHandle) {
    RawHost host;
    EXPECT_EQ(host.send(Command::GlobalSetdown), 0);
    EXPECT_EQ(host.calls, Calls());
    host.send(Command::GlobalSetup);
    void* stale = nullptr;
    host.in.sequenceData = host.out.sequenceData = &stale;
    EXPECT_EQ(host.send(Command::GlobalSetdown), 0);
    EXPECT_EQ(host.calls,
              (Calls{"acquire " + kHandles, "unregister", "dispose", "release " + kHandles}));
    EXPECT_EQ(host.handles.size(), 0U);
    EXPECT_EQ(host.in.sequenceData, nullptr);
    EXPECT_EQ(host.out.sequenceData, nullptr);
}

/// A host's formatting that leaves conversions as they are.
int copyFormat(char* message, const char* format, ...) {
    return static_cast<int>(std::strlen(std::strcpy(message, format)));
}

TEST(About, FormatsTheTextAndCutsItBetweenCharacters) {
    std::string euros;
    while (euros.size() < 600) {
        euros += kEuro;
    }
    const std::pair<std::string, std::string> cases[] = {
        {"Name, v%d.%d!", "Name, v1.0!"},
        {"%d.%d " + euros, "1.0 " + euros.substr(0, 249)}, // 255 bytes with the conversions
        {"%d.%d -" + euros, "1.0 -" + euros.substr(0, 246)},
        {"%d.%d --" + euros, "1.0 --" + euros.substr(0, 246)},
        {std::string(254, '-') + "%d", std::string(254, '-')}};
    RawHost host;
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    for (const auto& [text, message] : cases) {
        host.texts[0] = text.c_str();
        EXPECT_EQ(host.send(Command::About), 0);
        EXPECT_STREQ(host.out.message, message.c_str());
    }
    host.texts[0] = nullptr;
    EXPECT_EQ(host.send(Command::About), 0);
    EXPECT_STREQ(host.out.message, "");
    host.utilities.format = copyFormat;
    host.texts[0] = "50%";
    EXPECT_EQ(host.send(Command::About), 0);
    EXPECT_STREQ(host.out.message, "50%") << "what fits stays as it is";
}

bool haveSameBytes(const ParamDef& a, const ParamDef& b) {
    return std::memcmp(&a, &b, sizeof a) == 0; // NOLINT(bugprone-suspicious-memory-comparison)
}

/// A checkbox is one whose numbers are all 0.
ParamDef control(std::uint32_t id, ControlType type, const char* name, std::uint32_t flags,
                 float maximum = 0, double value = 0, std::int16_t precision = 0,
                 std::int16_t display = 0) {
    ParamDef def;
    std::memset(static_cast<void*>(&def), 0, sizeof def);
    def.id = id;
    def.type = type;
    std::snprintf(def.name, sizeof def.name, "%s", name);
    def.flags = flags;
    def.slider.value = value;
    def.slider.validMaximum = def.slider.sliderMaximum = maximum;
    def.slider.defaultValue = static_cast<float>(value);
    def.slider.precision = precision;
    def.slider.displayFlags = display;
    return def;
}

TEST(ParamsSetup, DeclaresTheControlsByteForByte) {
    RawHost host;
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    ASSERT_EQ(host.send(Command::ParamsSetup), 0);
    EXPECT_EQ(host.calls, (Calls{"add 77 -1 1", "add 77 -1 2", "add 77 -1 3", "add 77 -1 4",
                                 "add 77 -1 5", "add 77 -1 6"}));
    EXPECT_EQ(host.out.parameterCount, 7);
    using enum ControlType;
    const ParamDef expected[] = {control(1, FloatSlider, "smooth", 96, 10, 0.0, 2, 0),
                                 control(2, Checkbox, "scenes", 64),
                                 control(3, FloatSlider, "black", 96, 10, 0.1, 2, 1),
                                 control(4, FloatSlider, "white", 96, 10, 0.1, 2, 1),
                                 control(5, Checkbox, "snap", 64),
                                 control(6, FloatSlider, "blend", 32, 100, 0.0, 1, 1)};
    ASSERT_EQ(host.added.size(), 6U);
    for (std::size_t i = 0; i < 6; ++i) {
        if (host.added[i].type == Checkbox) {
            EXPECT_STREQ(host.added[i].checkbox.label, "");
            host.added[i].checkbox.label = nullptr;
        }
        EXPECT_TRUE(haveSameBytes(host.added[i], expected[i])) << "control " << i;
    }
}

TEST(ParamsSetup, CutsNamesBetweenCharacters) {
    const std::string some(28, '-');
    const std::pair<std::string, std::string> cases[] = {
        {some + "abc", some + "abc"},     {some + "abcd", some + "abc"},
        {some + kEuro, some + kEuro},     {some + kEuro + "!", some + kEuro},
        {some + "a" + kEuro, some + "a"}, {some + "ab" + kEuro, some + "ab"}};
    RawHost host;
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    for (std::size_t i = 0; i < 6; ++i) {
        host.texts[2 + i] = cases[i].first.c_str();
    }
    ASSERT_EQ(host.send(Command::ParamsSetup), 0);
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(host.added[i].name, cases[i].second);
    }
}

TEST(SequenceSetup, MakesANewCache) {
    for (const Command setup : {Command::SequenceSetup, Command::SequenceResetup}) {
        RawHost host;
        std::memset(&host.state, 0x3c, sizeof host.state);
        ASSERT_EQ(host.send(setup), 0);
        EXPECT_EQ(host.calls, (Calls{"acquire " + kHandles, "new 48", "acquire " + kParams,
                                     "state 0", "release " + kParams, "release " + kHandles}));
        EXPECT_EQ(std::memcmp(*host.in.sequenceData, &host.state, sizeof host.state), 0);
        ASSERT_EQ(host.send(setup), 0);
        EXPECT_EQ(host.calls[1], "dispose");
        EXPECT_EQ(host.handles.size(), 1U);
        ASSERT_EQ(host.send(Command::SequenceSetdown), 0);
        EXPECT_EQ(host.calls, (Calls{"acquire " + kHandles, "dispose", "release " + kHandles}));
        EXPECT_EQ(host.in.sequenceData, nullptr);
        EXPECT_EQ(host.out.sequenceData, nullptr);
        EXPECT_EQ(host.handles.size(), 0U);
    }
}

TEST(UserChangedParam, AsksForKeyframesAroundTheChange) {
    for (const std::int32_t index : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 99}) {
        RawHost host;
        UserChangedParamExtra extra{index};
        host.keyTimes = {{0, 40}, {1, 20}};
        EXPECT_EQ(host.send(Command::UserChangedParam, &extra), 0);
        const bool analysed = index >= 3 && index <= 5;
        const std::string ask = "keyframe " + std::to_string(index);
        EXPECT_EQ(host.calls, analysed ? (Calls{"acquire " + kParams, ask + " 1",
                                                "acquire " + kParams, ask + " 0"})
                                       : Calls())
            << index;
        // These two acquires are never paired: hosts count on it.
        EXPECT_EQ(host.acquired[kParams], analysed ? 2 : 0);
        EXPECT_EQ(host.send(Command::UserChangedParam), 0) << "without saying which";
    }
}

TEST(UpdateParamsUI, DisablesSceneDetectWithoutSmoothing) {
    RawHost host;
    for (const double seconds : {0.0, -0.0, 1e-300, 3.0, -1.0}) {
        host.params[1].slider.value = seconds;
        host.params[2] = control(2, ControlType::Checkbox, "scenes", 64);
        host.params[2].uiFlags = seconds > 1 ? 0xffU : 0x40U;
        const ParamDef before = host.params[2];
        ASSERT_EQ(host.send(Command::UpdateParamsUI), 0);
        EXPECT_EQ(host.calls, (Calls{"acquire " + kParams, "update 2", "release " + kParams}));
        EXPECT_TRUE(haveSameBytes(host.params[2], before));
        const std::uint32_t others = before.uiFlags & ~32U;
        EXPECT_EQ(host.updatedParam.uiFlags, seconds == 0.0 ? others | 32U : others);
        host.updatedParam.uiFlags = before.uiFlags;
        EXPECT_TRUE(haveSameBytes(host.updatedParam, before));
    }
}

// ---- A host that lacks something

struct Failure {
    std::vector<Command> commands;
    std::function<void(RawHost&)> breakHost;
    ErrorCode code;
};

std::vector<Failure> failures() {
    using enum Command;
    const std::vector<Command> needRecords = {About,          GlobalSetup,   GlobalSetdown,
                                              ParamsSetup,    SequenceSetup, SequenceResetup,
                                              SequenceSetdown};
    const std::vector<Command> needTexts = {About, ParamsSetup};
    const std::vector<Command> needHandles = {GlobalSetup, GlobalSetdown, SequenceSetup,
                                              SequenceResetup, SequenceSetdown};
    const std::vector<Command> needCache = {SequenceSetup, SequenceResetup};
    const std::vector<Command> needParams = {UpdateParamsUI, UserChangedParam};
    std::vector<Failure> cases = {
        {needRecords, [](RawHost& h) { h.inPointer = nullptr; }, 512},
        {needRecords, [](RawHost& h) { h.outPointer = nullptr; }, 512},
        {{UpdateParamsUI, UserChangedParam, Render},
         [](RawHost& h) { h.inPointer = nullptr; },
         512},
        {{UpdateParamsUI, Render}, [](RawHost& h) { h.paramsPointer = nullptr; }, 512},
        {{UpdateParamsUI}, [](RawHost& h) { h.paramList[1] = nullptr; }, 512},
        {{UpdateParamsUI}, [](RawHost& h) { h.paramList[2] = nullptr; }, 512},
        {{Render}, [](RawHost& h) { h.outputPointer = nullptr; }, 512},
        {{Render}, [](RawHost& h) { h.in.sequenceData = nullptr; }, 512},
        {{Render}, [](RawHost& h) { *h.in.sequenceData = nullptr; }, 512},
        {needTexts, [](RawHost& h) { h.in.globalData = nullptr; }, 512},
        {needTexts, [](RawHost& h) { h.in.lookupString = nullptr; }, 512},
        {needTexts, [](RawHost& h) { h.in.utilities = nullptr; }, 512},
        {{About}, [](RawHost& h) { h.utilities.format = nullptr; }, 512},
        {{ParamsSetup}, [](RawHost& h) { h.utilities.copyString = nullptr; }, 512},
        {{ParamsSetup}, [](RawHost& h) { h.in.addParameter = nullptr; }, 512},
        {{GlobalSetup}, [](RawHost& h) { h.in.registerStringTable = nullptr; }, 512},
        {{GlobalSetdown}, [](RawHost& h) { h.in.releaseStringTable = nullptr; }, 512},
        {needHandles, [](RawHost& h) { h.in.suiteProvider = nullptr; }, 10000},
        {needParams, [](RawHost& h) { h.in.suiteProvider = nullptr; }, 10000},
        {needHandles, [](RawHost& h) { h.provider.acquire = nullptr; }, 512},
        {needParams, [](RawHost& h) { h.provider.acquire = nullptr; }, 512},
        {needHandles, [](RawHost& h) { h.suites[kHandles] = nullptr; }, 0},
        {needHandles, [](RawHost& h) { h.handleSuite = {}; }, 512},
        {needCache, [](RawHost& h) { h.suites[kParams] = nullptr; }, 512},
        {needCache, [](RawHost& h) { h.paramSuite = {}; }, 512},
        {needParams, [](RawHost& h) { h.suites[kParams] = nullptr; }, 512},
        {needParams, [](RawHost& h) { h.paramSuite = {}; }, 512},
        {{UserChangedParam}, [](RawHost& h) { h.in.localTimeStep = 0; }, 0},
        {{UserChangedParam}, [](RawHost& h) { h.in.localTimeStep = -1; }, 0},
    };
    for (std::size_t i = 0; i < 7; ++i) {
        cases.push_back({{Render}, [i](RawHost& h) { h.paramList[i] = nullptr; }, 512});
    }
    return cases;
}

/// Handles that are out although no record holds them.
std::size_t strays(const RawHost& host) {
    return host.handles.size() - host.handles.count(host.in.globalData) -
           host.handles.count(host.in.sequenceData);
}

TEST(Failures, AreReportedAndLeaveNothingBehind) {
    std::size_t row = 0;
    for (const auto& [commands, breakHost, code] : failures()) {
        ++row;
        for (const Command command : commands) {
            SCOPED_TRACE("case " + std::to_string(row) + ", command " +
                         std::to_string(static_cast<int>(command)));
            RawHost host;
            host.send(Command::GlobalSetup);
            host.send(Command::SequenceSetup);
            breakHost(host);
            host.out.outFlags = 0x2000002;
            host.out.parameterCount = -7;
            std::strcpy(host.out.message, "old");
            host.keyTimes = {{0, std::numeric_limits<std::int32_t>::min()}, {1, 20}};
            UserChangedParamExtra extra{4};
            const std::size_t straysBefore = strays(host);
            EXPECT_EQ(host.send(command, &extra), code);
            const bool reported = code != 0;
            if (host.outPointer != nullptr) {
                EXPECT_EQ(host.out.outFlags, reported ? 256U : 0x2000002U);
                EXPECT_STREQ(host.out.message, reported ? "" : "old");
            }
            EXPECT_EQ(host.out.parameterCount, -7);
            EXPECT_TRUE(strays(host) == straysBefore || command == Command::GlobalSetdown);
            for (const HostHandle handle : {host.in.globalData, host.in.sequenceData}) {
                EXPECT_TRUE(handle == nullptr || host.handles.count(handle) == 1)
                    << "disposed, yet kept";
            }
            for (const auto& [suite, count] : host.acquired) {
                EXPECT_TRUE(count == 0 || command == Command::UserChangedParam) << suite;
            }
            if (std::ranges::count(host.calls, "new 48") != 0) {
                EXPECT_NE(host.in.sequenceData, nullptr) << "there whatever the state query says";
            }
        }
    }
}

} // namespace
} // namespace tintwell::test
