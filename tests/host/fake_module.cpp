// A small effect module that uses every service of a host, and can be asked to misbehave.

#include "fake_module.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace tintwell::host::fake {

namespace {

constexpr StringTableEntry kTexts[] = {{"k/0=Fake v%d.%d#{cr}#{cr}Second line", {}},
                                       {"k/1=Offset (frames)", {}},
                                       {"k/2=Switch", {}},
                                       {"k/3=Action", {}}};
constexpr StringTableDescriptor kDescriptor = {"", 5, kTexts};

struct Sequence {
    StateToken state;
    std::int32_t changedControls;
};

template <class Suite>
struct Acquired {
    static constexpr bool kIsHandles = std::is_same_v<Suite, HandleSuite>;
    static constexpr const char* kName = kIsHandles ? kHandleSuiteName : kParamUtilsSuiteName;
    static constexpr std::int32_t kVersion =
        kIsHandles ? kHandleSuiteVersion : kParamUtilsSuiteVersion;

    explicit Acquired(const InData& from) : in(from) {
        const void* found = nullptr;
        code = in.suiteProvider->acquire(kName, kVersion, &found);
        suite = static_cast<const Suite*>(found);
    }

    ~Acquired() {
        if (suite != nullptr) {
            in.suiteProvider->release(kName, kVersion);
        }
    }

    Acquired(const Acquired&) = delete;
    Acquired& operator=(const Acquired&) = delete;

    const InData& in;
    ErrorCode code = 0;
    const Suite* suite = nullptr;
};

using Handles = Acquired<HandleSuite>;
using ParamUtils = Acquired<ParamUtilsSuite>;

struct CheckedOut {
    CheckedOut(const InData& in, std::int32_t index, std::int32_t frame) : in_(in) {
        code = in.checkoutParameter(in.effectReference, index, frame * in.timeStep, in.timeStep,
                                    in.timeScale, &param);
        held_ = code == 0;
    }

    ~CheckedOut() { checkIn(); }

    CheckedOut(const CheckedOut&) = delete;
    CheckedOut& operator=(const CheckedOut&) = delete;

    ErrorCode checkIn() {
        const bool held = held_;
        held_ = false;
        return held ? in_.checkinParameter(in_.effectReference, &param) : 0;
    }

    ParamDef param{};
    ErrorCode code;

private:
    const InData& in_;
    bool held_;
};

ErrorCode globalSetup(InData& in, OutData& out) {
    out.version = 7;
    const Handles handles(in);
    if (handles.code != 0) {
        return handles.code;
    }
    void* table = const_cast<StringTableDescriptor*>(&kDescriptor);
    if (const ErrorCode code = in.registerStringTable(&table, 1, "Fake"); code != 0) {
        return code;
    }
    out.globalData = handles.suite->newHandle(sizeof(void*));
    if (out.globalData == nullptr) {
        in.releaseStringTable(&table, nullptr, table);
        return error::kOutOfMemory;
    }
    *static_cast<void**>(*out.globalData) = table;
    return 0;
}

ErrorCode globalSetdown(InData& in) {
    if (in.globalData == nullptr) {
        return 0;
    }
    const Handles handles(in);
    void* table = *static_cast<void**>(*in.globalData);
    const ErrorCode code = in.releaseStringTable(&table, table, table);
    if (handles.suite != nullptr) {
        handles.suite->disposeHandle(in.globalData);
    }
    return code;
}

ErrorCode add(InData& in, std::int32_t index, ControlType type) {
    ParamDef def{};
    def.id = static_cast<std::uint32_t>(index) + 10;
    def.type = type;
    def.flags = index == kAction ? 0 : control_flags::kSupervise;
    const char* name = in.lookupString(*static_cast<void**>(*in.globalData), index, 0, 0);
    in.utilities->copyString(def.name, name == nullptr ? "" : name);
    if (type == ControlType::FloatSlider) {
        def.slider = {0.5, {}, -9.0F, 9.0F, -1.0F, 1.0F, 0.25F, 2, kDisplayAsPercent};
    } else {
        def.checkbox = {1, 1, {}, "beside"};
    }
    return in.addParameter(in.effectReference, -1, &def);
}

ErrorCode paramsSetup(InData& in, OutData& out) {
    ErrorCode code = add(in, kOffset, ControlType::FloatSlider);
    code = code != 0 ? code : add(in, kSwitch, ControlType::Checkbox);
    code = code != 0 ? code : add(in, kAction, ControlType::FloatSlider);
    out.parameterCount = 4;
    return code;
}

ErrorCode sequenceSetup(InData& in, OutData& out) {
    const Handles handles(in);
    const ParamUtils utils(in);
    if (handles.code != 0 || utils.code != 0) {
        return handles.code != 0 ? handles.code : utils.code;
    }
    out.sequenceData = handles.suite->newHandle(sizeof(Sequence));
    if (out.sequenceData == nullptr) {
        return error::kOutOfMemory;
    }
    auto& sequence = *static_cast<Sequence*>(*out.sequenceData);
    return utils.suite->getCurrentState(in.effectReference, 0, nullptr, nullptr, &sequence.state);
}

ErrorCode sequenceSetdown(InData& in) {
    const Handles handles(in);
    if (in.sequenceData != nullptr && handles.suite != nullptr) {
        handles.suite->disposeHandle(in.sequenceData);
    }
    return handles.code;
}

std::int32_t keyTime(InData& in, const ParamUtils& utils, std::int32_t direction) {
    std::uint8_t found = 0;
    std::int32_t index = 0;
    std::int32_t time = 0;
    std::uint32_t scale = 0;
    utils.suite->findKeyframeTime(in.effectReference, kOffset, in.currentTime, in.timeScale,
                                  direction, &found, &index, &time, &scale);
    return found != 0 ? time : -1;
}

ErrorCode report(InData& in, EffectWorld& output) {
    const ParamUtils utils(in);
    const auto& sequence = *static_cast<Sequence*>(*in.sequenceData);
    const std::int32_t next = in.currentTime / in.timeStep + 1;
    const CheckedOut offset(in, kOffset, next);
    const CheckedOut onOff(in, kSwitch, next);
    Report report{};
    report.currentTime = in.currentTime;
    report.timeStep = in.timeStep;
    report.localTimeStep = in.localTimeStep;
    report.totalDuration = in.totalDuration;
    report.quality = in.quality;
    report.timeScale = in.timeScale;
    report.applicationCode = in.applicationCode;
    report.offsetAtNextFrame = offset.param.slider.value;
    report.switchAtNextFrame = onOff.param.checkbox.value;
    report.keyBefore = keyTime(in, utils, 1);
    report.keyAfter = keyTime(in, utils, 0);
    report.changedControls = sequence.changedControls;
    ParamDef unused{};
    report.foreignReference =
        in.checkoutParameter(in.effectReference + 1, kOffset, 0, 1, 1, &unused);
    StateToken now{};
    utils.suite->getCurrentState(in.effectReference, 0, nullptr, nullptr, &now);
    utils.suite->areStatesIdentical(in.effectReference, &sequence.state, &now,
                                    &report.stateUnchanged);
    std::memcpy(output.data, &report, sizeof report);
    return 0;
}

ErrorCode copyNeighbour(InData& in, double offset, EffectWorld& output) {
    if (const ErrorCode code = in.abort(in.effectReference); code != 0) {
        return code;
    }
    const std::int32_t frame = in.currentTime / in.timeStep + static_cast<std::int32_t>(offset);
    CheckedOut layer(in, 0, frame);
    if (layer.code != 0) {
        return layer.code;
    }
    const EffectWorld& source = layer.param.layer;
    for (std::ptrdiff_t y = 0; y < output.height; ++y) {
        std::memcpy(static_cast<std::byte*>(output.data) + y * output.rowBytes,
                    static_cast<const std::byte*>(source.data) + y * source.rowBytes,
                    static_cast<std::size_t>(std::min(output.rowBytes, source.rowBytes)));
    }
    return layer.checkIn();
}

ErrorCode leak(InData& in) {
    static thread_local ParamDef kept;
    in.checkoutParameter(in.effectReference, 0, in.currentTime, in.timeStep, in.timeScale, &kept);
    const void* suite = nullptr;
    in.suiteProvider->acquire(kHandleSuiteName, kHandleSuiteVersion, &suite);
    static_cast<const HandleSuite*>(suite)->newHandle(100);
    return 0;
}

ErrorCode misuse(InData& in) {
    ParamDef never{};
    void* block = nullptr;
    {
        const Handles handles(in);
        handles.suite->disposeHandle(&block);
    }
    in.suiteProvider->release(kHandleSuiteName, kHandleSuiteVersion);
    in.releaseStringTable(&block, nullptr, &block);
    return in.checkinParameter(in.effectReference, &never);
}

ErrorCode render(InData& in, ParamDef** params, EffectWorld& output) {
    switch (static_cast<Action>(static_cast<int>(params[kAction]->slider.value))) {
    case Action::CopyNeighbour:
        return copyNeighbour(in, params[kOffset]->slider.value, output);
    case Action::Report:
        return report(in, output);
    case Action::Leak:
        return leak(in);
    case Action::Misuse:
        return misuse(in);
    }
    return 0;
}

ErrorCode updateUi(InData& in, ParamDef** params) {
    const ParamUtils utils(in);
    ParamDef shown = *params[kSwitch];
    shown.uiFlags = params[kOffset]->slider.value == 0.0 ? kUiFlagDisabled : 0;
    return utils.code != 0 ? utils.code
                           : utils.suite->updateParamUI(in.effectReference, kSwitch, &shown);
}

ErrorCode dispatch(Command command, InData& in, OutData& out, ParamDef** params,
                   EffectWorld* output, void* extra) {
    switch (command) {
    case Command::About: {
        const char* text = in.lookupString(*static_cast<void**>(*in.globalData), 0, 0, 0);
        return in.utilities->format(out.message, text == nullptr ? "" : text, 3, 4) < 0 ? 1 : 0;
    }
    case Command::GlobalSetup:
        return globalSetup(in, out);
    case Command::GlobalSetdown:
        return globalSetdown(in);
    case Command::ParamsSetup:
        return paramsSetup(in, out);
    case Command::SequenceSetup:
        return sequenceSetup(in, out);
    case Command::SequenceSetdown:
        return sequenceSetdown(in);
    case Command::Render:
        return render(in, params, *output);
    case Command::UserChangedParam:
        static_cast<Sequence*>(*in.sequenceData)->changedControls |=
            1 << static_cast<UserChangedParamExtra*>(extra)->parameterIndex;
        return 0;
    case Command::UpdateParamsUI:
        return updateUi(in, params);
    default:
        return 0;
    }
}

} // namespace

} // namespace tintwell::host::fake

extern "C" [[gnu::visibility("default")]] tintwell::ErrorCode
tintwellEffectMain(std::int32_t command, tintwell::InData* in, tintwell::OutData* out,
                   tintwell::ParamDef** params, tintwell::EffectWorld* output, void* extra) {
    const auto code = tintwell::host::fake::dispatch(static_cast<tintwell::Command>(command), *in,
                                                     *out, params, output, extra);
    out->outFlags = code != 0 ? tintwell::kOutFlagShowError : out->outFlags;
    return code;
}
