#pragma once

// The host's services by name and version, and what the effect does with them. A suite is acquired
// for the span of one use and released with its AcquiredSuite; nothing keeps one between commands.

#include "module/interface/host_interface.h"

#include <cstdint>

namespace tintwell {

/// The provider's code; 10000 when the host offers no provider.
ErrorCode acquireSuite(const InData& inData, const char* name, std::int32_t version,
                       const void** suite);
ErrorCode releaseSuite(const InData& inData, const char* name, std::int32_t version);

template <class Suite>
struct SuiteIdentity;

template <>
struct SuiteIdentity<HandleSuite> {
    static constexpr const char* kName = kHandleSuiteName;
    static constexpr std::int32_t kVersion = kHandleSuiteVersion;
};

template <>
struct SuiteIdentity<ParamUtilsSuite> {
    static constexpr const char* kName = kParamUtilsSuiteName;
    static constexpr std::int32_t kVersion = kParamUtilsSuiteVersion;
};

/// Holds a suite until it goes out of scope. A successful acquire is always paired with one
/// release, also when the table came back null.
template <class Suite>
class AcquiredSuite {
public:
    explicit AcquiredSuite(const InData& inData) : inData_(inData) {
        const void* table = nullptr;
        code_ = acquireSuite(inData, SuiteIdentity<Suite>::kName, SuiteIdentity<Suite>::kVersion,
                             &table);
        table_ = static_cast<const Suite*>(table);
    }

    AcquiredSuite(const AcquiredSuite&) = delete;
    AcquiredSuite& operator=(const AcquiredSuite&) = delete;

    ~AcquiredSuite() {
        if (code_ == error::kNone) {
            releaseSuite(inData_, SuiteIdentity<Suite>::kName, SuiteIdentity<Suite>::kVersion);
        }
    }

    /// What acquiring answered.
    ErrorCode code() const { return code_; }

    /// Whether there is a table to call.
    bool isUsable() const { return code_ == error::kNone && table_ != nullptr; }

    const Suite* operator->() const { return table_; }

private:
    const InData& inData_;
    ErrorCode code_;
    const Suite* table_;
};

/// A new handle of `bytes`: 4 when the host has no memory, 512 when it lacks the function to make
/// one.
ErrorCode newHandle(const AcquiredSuite<HandleSuite>& suite, std::uint64_t bytes,
                    HostHandle* handle);

/// Disposes the handle both records hold, if any, and clears the fields. 512 when the host has no
/// such function.
ErrorCode disposeHandle(const AcquiredSuite<HandleSuite>& suite, HostHandle& inField,
                        HostHandle& outField);

/// Asks for the state of all controls: 512 when there is no suite table or no such function.
ErrorCode queryState(const InData& inData, StateToken& state);

/// Frame of a keyframe of the parameter near the current time; `direction` is handed to the host
/// unchanged. The frame is 0 where no keyframe is found.
ErrorCode findKeyframeFrame(const InData& inData, std::int32_t parameterIndex,
                            std::int32_t direction, std::int32_t& frame);

} // namespace tintwell
