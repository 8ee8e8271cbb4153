#include "module/services/suites.h"

#include "module/services/frame_time.h"

namespace tintwell {

ErrorCode acquireSuite(const InData& inData, const char* name, std::int32_t version,
                       const void** suite) {
    if (inData.suiteProvider == nullptr) {
        return error::kNoSuiteProvider;
    }
    if (inData.suiteProvider->acquire == nullptr) {
        return error::kMissingRecord;
    }
    return inData.suiteProvider->acquire(name, version, suite);
}

ErrorCode releaseSuite(const InData& inData, const char* name, std::int32_t version) {
    if (inData.suiteProvider == nullptr) {
        return error::kNoSuiteProvider;
    }
    if (inData.suiteProvider->release == nullptr) {
        return error::kMissingRecord;
    }
    return inData.suiteProvider->release(name, version);
}

ErrorCode newHandle(const AcquiredSuite<HandleSuite>& suite, std::uint64_t bytes,
                    HostHandle* handle) {
    if (suite->newHandle == nullptr) {
        return error::kMissingRecord;
    }
    *handle = suite->newHandle(bytes);
    if (*handle == nullptr) {
        return error::kOutOfMemory;
    }
    if (**handle == nullptr) {
        if (suite->disposeHandle != nullptr) {
            suite->disposeHandle(*handle);
        }
        return error::kOutOfMemory;
    }
    return error::kNone;
}

ErrorCode disposeHandle(const AcquiredSuite<HandleSuite>& suite, HostHandle& inField,
                        HostHandle& outField) {
    if (inField != nullptr) {
        if (suite->disposeHandle == nullptr) {
            return error::kMissingRecord;
        }
        suite->disposeHandle(inField);
    }
    inField = nullptr;
    outField = nullptr;
    return error::kNone;
}

ErrorCode queryState(const InData& inData, StateToken& state) {
    const AcquiredSuite<ParamUtilsSuite> suite(inData);
    if (suite.code() != error::kNone) {
        return suite.code();
    }
    if (!suite.isUsable() || suite->getCurrentState == nullptr) {
        return error::kMissingRecord;
    }
    return suite->getCurrentState(inData.effectReference, 0, nullptr, nullptr, &state);
}

ErrorCode findKeyframeFrame(const InData& inData, std::int32_t parameterIndex,
                            std::int32_t direction, std::int32_t& frame) {
    frame = 0;
    // Left acquired on purpose: it is part of the contract with the host.
    const void* table = nullptr;
    const ErrorCode acquired =
        acquireSuite(inData, kParamUtilsSuiteName, kParamUtilsSuiteVersion, &table);
    if (acquired != error::kNone) {
        return acquired;
    }
    const auto* suite = static_cast<const ParamUtilsSuite*>(table);
    if (suite == nullptr || suite->findKeyframeTime == nullptr) {
        return error::kMissingRecord;
    }
    std::uint8_t found = 0;
    std::int32_t keyIndex = 0;
    std::int32_t keyTime = 0;
    std::uint32_t keyTimeScale = 0;
    const ErrorCode code = suite->findKeyframeTime(inData.effectReference, parameterIndex,
                                                   inData.currentTime, inData.timeScale, direction,
                                                   &found, &keyIndex, &keyTime, &keyTimeScale);
    if (code == error::kNone && found != 0) {
        frame = divideTime(keyTime, inData.localTimeStep);
    }
    return code;
}

} // namespace tintwell
