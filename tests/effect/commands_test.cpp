// What each command takes from the host and gives back, and what becomes of a host that fails.

#include "raw_host.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace tintwell::test {
namespace {

using Calls = std::vector<std::string>;

const std::string kHandles = "PF Handle Suite 2";
const std::string kParams = "PF Param Utils Suite 3";

void expectSuitesReleased(const RawHost& host) {
    for (const auto& [suite, count] : host.acquired) {
        EXPECT_EQ(count, 0) << suite;
    }
}

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
    EXPECT_EQ(host.calls,
              (Calls{"register", "acquire " + kHandles, "new 8", "release " + kHandles}));
    EXPECT_EQ(host.out.version, 0x80600U);
    EXPECT_EQ(host.out.outFlags, 0x2000003U);
    EXPECT_EQ(host.out.outFlags2, 64U);
    EXPECT_EQ(host.tableId, 4215);
    EXPECT_EQ(host.plainName, "Tintwell");
    EXPECT_STREQ(host.descriptor.name, "");
    EXPECT_EQ(host.descriptor.count, 9);
    ASSERT_EQ(host.keyStrings.size(), 8U);
    const std::string key = "$$$/QX/Tintwell/LStr/000";
    const std::string about = host.keyStrings[0];
    const std::string start = key + "0=Tintwell, v%d.%d#{cr}#{cr}";
    const std::string end = "#{cr}#{cr}Automatically adjust color by searching for shadows, "
                            "midtones and highlights.";
    EXPECT_EQ(about.substr(0, start.size()), start);
    EXPECT_GT(about.size(), start.size() + end.size());
    EXPECT_EQ(about.substr(about.size() - end.size()), end);
    host.keyStrings.erase(host.keyStrings.begin());
    EXPECT_EQ(host.keyStrings,
              (Calls{key + "1=Tintwell", key + "2=Temporal Smoothing (seconds)",
                     key + "3=Scene Detect", key + "4=Black Clip", key + "5=White Clip",
                     key + "6=Snap Neutral Midtones", key + "7=Blend With Original"}));
    ASSERT_NE(host.in.globalData, nullptr);
    EXPECT_EQ(host.in.globalData, host.out.globalData);
    EXPECT_EQ(std::memcmp(*host.in.globalData, std::data({&host.tableReference}), 8), 0);

    // A second setup takes the place of the first.
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    EXPECT_EQ(host.calls, (Calls{"register", "acquire " + kHandles, "dispose", "new 8",
                                 "release " + kHandles}));
    EXPECT_EQ(host.handles.size(), 1U);
}

TEST(GlobalSetdown, ReleasesTheTextsAndTheHandle) {
    RawHost host;
    EXPECT_EQ(host.send(Command::GlobalSetdown), 0);
    EXPECT_EQ(host.calls, Calls());
    host.send(Command::GlobalSetup);
    void* stale = nullptr;
    host.in.sequenceData = host.out.sequenceData = &stale;
    host.answers["unregister"] = 44;
    EXPECT_EQ(host.send(Command::GlobalSetdown), 44);
    EXPECT_EQ(host.handles.size(), 1U);
    host.answers.clear();
    EXPECT_EQ(host.send(Command::GlobalSetdown), 0);
    EXPECT_EQ(host.calls,
              (Calls{"acquire " + kHandles, "unregister", "dispose", "release " + kHandles}));
    EXPECT_EQ(host.handles.size(), 0U);
    EXPECT_EQ(host.in.sequenceData, nullptr);
    EXPECT_EQ(host.out.sequenceData, nullptr);
}

TEST(About, FormatsTheText) {
    RawHost host;
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    host.texts[0] = "Name, v%d.%d!";
    EXPECT_EQ(host.send(Command::About), 0);
    EXPECT_STREQ(host.out.message, "Name, v1.0!");
    host.texts[0] = nullptr;
    EXPECT_EQ(host.send(Command::About), 0);
    EXPECT_STREQ(host.out.message, "");
}

TEST(About, CutsLongTextsBetweenCharacters) {
    RawHost host;
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    for (std::size_t lead = 0; lead < 4; ++lead) {
        std::string text = "v%d.%d " + std::string(lead, '-');
        while (text.size() < 600) {
            text += "\u20ac"; // three bytes
        }
        host.texts[0] = text.c_str();
        EXPECT_EQ(host.send(Command::About), 0);
        const std::string message(host.out.message, strnlen(host.out.message, 256));
        EXPECT_LE(message.size(), 255U);
        EXPECT_GE(message.size(), 250U);
        EXPECT_EQ((message.size() - 5 - lead) % 3, 0U) << "cut inside a character";
        EXPECT_EQ(message, ("v1.0 " + text.substr(7)).substr(0, message.size()));
        EXPECT_EQ(std::to_integer<int>(host.out.reserved356[0]), 0);
    }
}

ParamDef control(std::uint32_t id, ControlType type, const char* name, std::uint32_t flags) {
    ParamDef def;
    std::memset(static_cast<void*>(&def), 0, sizeof def);
    def.id = id;
    def.type = type;
    std::strcpy(def.name, name);
    def.flags = flags;
    return def;
}

ParamDef slider(std::uint32_t id, const char* name, std::uint32_t flags, float maximum,
                double value, std::int16_t precision, std::int16_t display) {
    ParamDef def = control(id, ControlType::FloatSlider, name, flags);
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
    const ParamDef expected[] = {slider(1, "smooth", 96, 10, 0.0, 2, 0),
                                 control(2, ControlType::Checkbox, "scenes", 64),
                                 slider(3, "black", 96, 10, 0.1, 2, 1),
                                 slider(4, "white", 96, 10, 0.1, 2, 1),
                                 control(5, ControlType::Checkbox, "snap", 64),
                                 slider(6, "blend", 32, 100, 0.0, 1, 1)};
    ASSERT_EQ(host.added.size(), 6U);
    for (std::size_t i = 0; i < 6; ++i) {
        if (host.added[i].type == ControlType::Checkbox) {
            EXPECT_STREQ(host.added[i].checkbox.label, "");
            host.added[i].checkbox.label = nullptr;
        }
        EXPECT_EQ(std::memcmp(&host.added[i], &expected[i], sizeof(ParamDef)), 0)
            << "control " << i;
    }
}

TEST(ParamsSetup, CutsNamesBetweenCharacters) {
    RawHost host;
    ASSERT_EQ(host.send(Command::GlobalSetup), 0);
    host.texts = {"",
                  "",
                  "exactly 31 bytes, no more, less",
                  "exactly 32 bytes, one is too many",
                  "30 bytes and then a euro sign \u20ac",
                  "28 bytes, then a euro sign: \u20ac!",
                  nullptr,
                  "\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9"
                  "\u00e9\u00e9\u00e9"};
    ASSERT_EQ(host.send(Command::ParamsSetup), 0);
    const std::string cut[] = {"exactly 31 bytes, no more, less",
                               "exactly 32 bytes, one is too ma",
                               "30 bytes and then a euro sign ",
                               "28 bytes, then a euro sign: \u20ac",
                               "",
                               "\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9"
                               "\u00e9\u00e9\u00e9\u00e9"};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(std::string(host.added[i].name, strnlen(host.added[i].name, 32)), cut[i]);
    }
}

TEST(ParamsSetup, StopsAtTheFirstFailure) {
    RawHost host;
    host.send(Command::GlobalSetup);
    host.answers["add 77 -1 3"] = 21;
    host.out.parameterCount = -7;
    EXPECT_EQ(host.send(Command::ParamsSetup), 21);
    EXPECT_EQ(host.added.size(), 3U);
    EXPECT_EQ(host.out.parameterCount, -7);
    EXPECT_EQ(host.out.outFlags, 256U);
}

class SequenceSetup : public testing::TestWithParam<Command> {};

INSTANTIATE_TEST_SUITE_P(, SequenceSetup,
                         testing::Values(Command::SequenceSetup, Command::SequenceResetup),
                         [](const auto& info) {
                             return info.param == Command::SequenceSetup ? "First" : "Again";
                         });

TEST_P(SequenceSetup, MakesANewCache) {
    RawHost host;
    std::memset(&host.state, 0x3c, sizeof host.state);
    ASSERT_EQ(host.send(GetParam()), 0);
    EXPECT_EQ(host.calls, (Calls{"acquire " + kHandles, "new 48", "acquire " + kParams, "state 0",
                                 "release " + kParams, "release " + kHandles}));
    ASSERT_NE(host.in.sequenceData, nullptr);
    EXPECT_EQ(host.in.sequenceData, host.out.sequenceData);
    EXPECT_EQ(std::memcmp(*host.in.sequenceData, &host.state, sizeof host.state), 0);
    ASSERT_EQ(host.send(GetParam()), 0);
    EXPECT_EQ(host.calls[1], "dispose");
    EXPECT_EQ(host.handles.size(), 1U);
    ASSERT_EQ(host.send(Command::SequenceSetdown), 0);
    EXPECT_EQ(host.calls, (Calls{"acquire " + kHandles, "dispose", "release " + kHandles}));
    EXPECT_EQ(host.in.sequenceData, nullptr);
    EXPECT_EQ(host.out.sequenceData, nullptr);
    EXPECT_EQ(host.handles.size(), 0U);
}

TEST_P(SequenceSetup, PublishesTheCacheWhateverTheStateQuerySays) {
    struct {
        void (*breakHost)(RawHost&);
        ErrorCode code;
    } const cases[] = {
        {[](RawHost& h) { h.answers["state 0"] = 515; },
         GetParam() == Command::SequenceResetup ? 0 : 515},
        {[](RawHost& h) { h.answers["state 0"] = 14; }, 14},
        {[](RawHost& h) { h.answers["acquire " + kParams] = 15; }, 15},
        {[](RawHost& h) { h.suites[kParams] = nullptr; }, 512},
        {[](RawHost& h) { h.paramSuite.getCurrentState = nullptr; }, 512},
    };

    for (const auto& c : cases) {
        RawHost host;
        c.breakHost(host);
        EXPECT_EQ(host.send(GetParam()), c.code);
        EXPECT_EQ(host.handles.size(), 1U);
        EXPECT_NE(host.in.sequenceData, nullptr);
        EXPECT_EQ(host.in.sequenceData, host.out.sequenceData);
        EXPECT_EQ(host.send(Command::SequenceSetdown), 0);
        expectSuitesReleased(host);
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
    }
}

TEST(UserChangedParam, PassesOnWhatTheKeyframeQuerySays) {
    UserChangedParamExtra extra{4};
    RawHost host;
    EXPECT_EQ(host.send(Command::UserChangedParam), 0);

    struct {
        const char* call;
        ErrorCode answer;
        ErrorCode code;
        std::size_t calls;
    } const cases[] = {
        {"keyframe 4 1", 10001, 0, 4},   {"keyframe 4 0", 10001, 0, 4},
        {"keyframe 4 1", 31, 31, 2},     {"keyframe 4 0", 31, 31, 4},
        {("keyframe 4 0"), 517, 517, 4}, {"acquire PF Param Utils Suite 3", 9, 9, 1}};

    for (const auto& c : cases) {
        host.answers = {{c.call, c.answer}};
        host.out = {};
        EXPECT_EQ(host.send(Command::UserChangedParam, &extra), c.code);
        EXPECT_EQ(host.calls.size(), c.calls);
        EXPECT_EQ(host.out.outFlags, c.code == 0 || c.code == 517 ? 0U : 256U);
    }
    host.answers.clear();
    host.in.localTimeStep = 0;
    host.keyTimes = {{0, std::numeric_limits<std::int32_t>::min()}, {1, 20}};
    EXPECT_EQ(host.send(Command::UserChangedParam, &extra), 0);
    host.in.localTimeStep = -1;
    EXPECT_EQ(host.send(Command::UserChangedParam, &extra), 0);
    host.paramSuite.findKeyframeTime = nullptr;
    EXPECT_EQ(host.send(Command::UserChangedParam, &extra), 512);
    host.suites[kParams] = nullptr;
    EXPECT_EQ(host.send(Command::UserChangedParam, &extra), 512);
    host.in.suiteProvider = nullptr;
    EXPECT_EQ(host.send(Command::UserChangedParam, &extra), 10000);
    host.inPointer = nullptr;
    EXPECT_EQ(host.send(Command::UserChangedParam, &extra), 512);
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
        EXPECT_EQ(std::memcmp(&host.params[2], &before, sizeof before), 0);
        const std::uint32_t others = before.uiFlags & ~32U;
        EXPECT_EQ(host.updatedParam.uiFlags, seconds == 0.0 ? others | 32U : others);
        host.updatedParam.uiFlags = before.uiFlags;
        EXPECT_EQ(std::memcmp(&host.updatedParam, &before, sizeof before), 0);
    }
}

// ---- A host that fails

TEST(Failures, AreReportedAndLeaveNothingAcquired) {
    using enum Command;
    const std::vector<Command> needRecords = {About,          GlobalSetup,   GlobalSetdown,
                                              ParamsSetup,    SequenceSetup, SequenceResetup,
                                              SequenceSetdown};
    const std::vector<Command> needTexts = {About, ParamsSetup};
    const std::vector<Command> needMemory = {GlobalSetup, SequenceSetup, SequenceResetup};
    const std::vector<Command> needHandles = {GlobalSetup, GlobalSetdown, SequenceSetup,
                                              SequenceResetup, SequenceSetdown};
    std::vector<Command> needSuites = needHandles;
    needSuites.push_back(UpdateParamsUI);

    struct Case {
        std::vector<Command> commands;
        std::function<void(RawHost&)> breakHost;
        ErrorCode code;
    };

    std::vector<Case> cases = {
        {needRecords, [](RawHost& h) { h.inPointer = nullptr; }, 512},
        {needRecords, [](RawHost& h) { h.outPointer = nullptr; }, 512},
        {{UpdateParamsUI, Render}, [](RawHost& h) { h.inPointer = nullptr; }, 512},
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
        {{ParamsSetup}, [](RawHost& h) { h.answers["add 77 -1 1"] = 517; }, 517},
        {{GlobalSetup}, [](RawHost& h) { h.in.registerStringTable = nullptr; }, 512},
        {{GlobalSetup}, [](RawHost& h) { h.answers["register"] = 99; }, 99},
        {{GlobalSetdown}, [](RawHost& h) { h.in.releaseStringTable = nullptr; }, 512},
        {needSuites, [](RawHost& h) { h.in.suiteProvider = nullptr; }, 10000},
        {needSuites, [](RawHost& h) { h.provider.acquire = nullptr; }, 512},
        {needHandles, [](RawHost& h) { h.answers["acquire " + kHandles] = 13; }, 13},
        {needHandles, [](RawHost& h) { h.answers["acquire " + kHandles] = 517; }, 517},
        {needHandles, [](RawHost& h) { h.suites[kHandles] = nullptr; }, 0},
        {needHandles, [](RawHost& h) { h.handleSuite = {}; }, 512},
        {needMemory, [](RawHost& h) { h.answers["new 8"] = h.answers["new 48"] = 1; }, 4},
        {needMemory, [](RawHost& h) { h.answers["new 8"] = h.answers["new 48"] = -1; }, 4},
        {{UpdateParamsUI}, [](RawHost& h) { h.answers["acquire " + kParams] = 13; }, 13},
        {{UpdateParamsUI}, [](RawHost& h) { h.suites[kParams] = nullptr; }, 512},
        {{UpdateParamsUI}, [](RawHost& h) { h.paramSuite = {}; }, 512},
        {{UpdateParamsUI}, [](RawHost& h) { h.answers["update 2"] = 517; }, 517},
    };
    for (std::size_t i = 0; i < 7; ++i) {
        cases.push_back({{Render}, [i](RawHost& h) { h.paramList[i] = nullptr; }, 512});
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& [commands, breakHost, code] = cases[i];
        for (const Command command : commands) {
            SCOPED_TRACE("case " + std::to_string(i) + ", command " +
                         std::to_string(static_cast<int>(command)));
            RawHost host;
            host.send(GlobalSetup);
            host.send(SequenceSetup);
            breakHost(host);
            host.out.outFlags = 0x2000002;
            std::strcpy(host.out.message, "old");
            EXPECT_EQ(host.send(command), code);
            const bool reported = code != 0 && code != 517;
            if (host.outPointer != nullptr) {
                EXPECT_EQ(host.out.outFlags, reported ? 256U : 0x2000002U);
                EXPECT_STREQ(host.out.message, reported ? "" : "old");
            }
            for (const HostHandle handle : {host.in.globalData, host.in.sequenceData}) {
                EXPECT_TRUE(handle == nullptr || host.handles.count(handle) == 1)
                    << "disposed, yet kept";
            }
            expectSuitesReleased(host);
        }
    }
}

} // namespace
} // namespace tintwell::test
