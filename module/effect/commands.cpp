#include "module/effect/commands.h"

#include "module/effect/controls.h"
#include "module/effect/identity.h"
#include "module/effect/render_driver.h"
#include "module/effect/sequence_data.h"
#include "module/effect/text_services.h"
#include "module/services/control_values.h"
#include "module/services/suites.h"
#include "module/temporal/frame_cache.h"

#include <new>
#include <stdexcept>

namespace tintwell {
namespace {

/// The arguments of the module's exported function; any of them may be null.
struct Call {
    InData* inData;
    OutData* outData;
    ParamDef** params;
    EffectWorld* output;
    void* extra;

    bool hasRecords() const { return inData != nullptr && outData != nullptr; }
};

ErrorCode about(const Call& call) {
    return call.hasRecords() ? formatAbout(*call.inData, *call.outData) : error::kMissingRecord;
}

ErrorCode setUpGlobal(const Call& call) {
    if (!call.hasRecords()) {
        return error::kMissingRecord;
    }
    InData& inData = *call.inData;
    OutData& outData = *call.outData;
    outData.globalData = inData.globalData;
    outData.outFlags |= identity::kOutFlags;
    outData.version = identity::kVersion;
    outData.outFlags2 = identity::kOutFlags2;

    RegisteredStringTable table(inData);
    if (table.code() != error::kNone) {
        return table.code();
    }
    const AcquiredSuite<HandleSuite> suite(inData);
    if (!suite.isUsable()) {
        return suite.code();
    }
    ErrorCode code = disposeHandle(suite, inData.globalData, outData.globalData);
    if (code != error::kNone) {
        return code;
    }
    HostHandle handle = nullptr;
    code = newHandle(suite, sizeof(GlobalData), &handle);
    if (code != error::kNone) {
        return code;
    }
    static_cast<GlobalData*>(*handle)->stringTable = table.keep();
    inData.globalData = handle;
    outData.globalData = handle;
    return error::kNone;
}

ErrorCode releaseGlobal(const Call& call) {
    if (!call.hasRecords()) {
        return error::kMissingRecord;
    }
    InData& inData = *call.inData;
    GlobalData* global = globalDataOf(inData);
    if (global == nullptr) {
        return error::kNone;
    }
    const AcquiredSuite<HandleSuite> suite(inData);
    if (!suite.isUsable()) {
        return suite.code();
    }
    if (suite->disposeHandle == nullptr) {
        return error::kMissingRecord;
    }
    const ErrorCode released = releaseStringTable(inData, *global);
    if (released != error::kNone) {
        return released;
    }
    return disposeHandle(suite, inData.globalData, call.outData->globalData);
}

ErrorCode setDownGlobal(const Call& call) {
    const ErrorCode code = releaseGlobal(call);
    if (call.inData != nullptr) {
        call.inData->sequenceData = nullptr;
    }
    if (call.outData != nullptr) {
        call.outData->sequenceData = nullptr;
    }
    return code;
}

ErrorCode setUpParams(const Call& call) {
    return call.hasRecords() ? addControls(*call.inData, *call.outData) : error::kMissingRecord;
}

ErrorCode render(const Call& call) {
    if (call.inData == nullptr || call.params == nullptr || call.params[0] == nullptr) {
        return error::kMissingRecord;
    }
    RenderRequest request = {*call.inData, call.params, {}};
    const ErrorCode read = readControls(call.params, request.controls);
    return read != error::kNone ? read : renderFrame(request, call.output);
}

ErrorCode foundNothingIsFine(ErrorCode code) {
    return code == error::kNothingFound ? error::kNone : code;
}

/// Marks as stale what was analysed under the keyframes around the current time.
ErrorCode changeParam(const Call& call) {
    if (call.extra == nullptr) {
        return error::kNone;
    }
    const std::int32_t changed =
        static_cast<const UserChangedParamExtra*>(call.extra)->parameterIndex;
    if (!affectsAnalysis(changed)) {
        return error::kNone;
    }
    if (call.inData == nullptr) {
        return error::kMissingRecord;
    }
    constexpr std::int32_t kDirectionOfStart = 1;
    constexpr std::int32_t kDirectionOfEnd = 0;
    std::int32_t from = 0;
    std::int32_t to = 0;
    ErrorCode code =
        foundNothingIsFine(findKeyframeFrame(*call.inData, changed, kDirectionOfStart, from));
    if (code == error::kNone) {
        code = foundNothingIsFine(findKeyframeFrame(*call.inData, changed, kDirectionOfEnd, to));
    }
    if (code != error::kNone) {
        return code;
    }
    if (FrameCache* cache = frameCacheOf(*call.inData)) {
        cache->invalidate(from, to, Invalidation::MarkStale);
    }
    return error::kNone;
}

/// Scene Detect means nothing without smoothing, and is shown greyed out then.
ErrorCode updateParamsUI(const Call& call) {
    constexpr auto kSmoothing = static_cast<std::size_t>(Param::TemporalSmoothing);
    constexpr auto kSceneDetect = static_cast<std::size_t>(Param::SceneDetect);
    if (call.inData == nullptr) {
        return error::kMissingRecord;
    }
    const AcquiredSuite<ParamUtilsSuite> suite(*call.inData);
    if (suite.code() != error::kNone) {
        return suite.code();
    }
    if (!suite.isUsable() || suite->updateParamUI == nullptr || call.params == nullptr ||
        call.params[kSmoothing] == nullptr || call.params[kSceneDetect] == nullptr) {
        return error::kMissingRecord;
    }
    ParamDef sceneDetect = *call.params[kSceneDetect];
    if (call.params[kSmoothing]->slider.value == 0.0) {
        sceneDetect.uiFlags |= kUiFlagDisabled;
    } else {
        sceneDetect.uiFlags &= ~kUiFlagDisabled;
    }
    return suite->updateParamUI(call.inData->effectReference,
                                static_cast<std::int32_t>(Param::SceneDetect), &sceneDetect);
}

ErrorCode dispatch(std::int32_t command, const Call& call) {
    switch (static_cast<Command>(command)) {
    case Command::About:
        return about(call);
    case Command::GlobalSetup:
        return setUpGlobal(call);
    case Command::GlobalSetdown:
        return setDownGlobal(call);
    case Command::ParamsSetup:
        return setUpParams(call);
    case Command::SequenceSetup:
        return setUpSequence(call.inData, call.outData);
    case Command::SequenceResetup:
        return resetUpSequence(call.inData, call.outData);
    case Command::SequenceSetdown:
        return setDownSequence(call.inData, call.outData);
    case Command::Render:
        return render(call);
    case Command::UserChangedParam:
        return changeParam(call);
    case Command::UpdateParamsUI:
        return updateParamsUI(call);
    case Command::FrameSetup:
        break;
    }
    return error::kNone;
}

/// The one gate from exceptions to codes.
ErrorCode runGuarded(std::int32_t command, const Call& call) noexcept {
    try {
        return dispatch(command, call);
    } catch (const std::bad_alloc&) {
        return error::kOutOfMemory;
    } catch (const std::length_error&) {
        return error::kOutOfMemory;
    } catch (...) {
        return error::kMissingRecord;
    }
}

} // namespace

ErrorCode runCommand(std::int32_t command, InData* inData, OutData* outData, ParamDef** params,
                     EffectWorld* output, void* extra) noexcept {
    const ErrorCode code = runGuarded(command, {inData, outData, params, output, extra});
    if (code != error::kNone && code != error::kInterrupted && outData != nullptr) {
        // Overwritten, not added to: a failed command reports nothing else.
        outData->outFlags = kOutFlagShowError;
        outData->message[0] = '\0';
    }
    return code;
}

} // namespace tintwell
