#pragma once

// A host that knows nothing of the module but its binary interface, for tests that look at what
// crosses it and that break it. Records and tables are open: a test nulls a field to withdraw a
// service, and sets an answer to make it fail.

#include "module/interface/host_interface.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace tintwell::test {

/// One at a time per process: the host's suites get no reference to find their host by.
class RawHost {
public:
    RawHost();
    ~RawHost();
    RawHost(const RawHost&) = delete;
    RawHost& operator=(const RawHost&) = delete;

    /// Calls the module's `main` with the records below, forgetting the calls logged before.
    ErrorCode send(std::int32_t command, void* extra = nullptr);

    ErrorCode send(Command command, void* extra = nullptr) {
        return send(static_cast<std::int32_t>(command), extra);
    }

    /// Logs a call by its name and gives 0, or the failure if it is to fail. A new handle then is
    /// none, or for -1 a handle of null.
    ErrorCode answerTo(const std::string& call);

    /// Whether this is the call that is to fail.
    bool fails(const std::string& call);

    /// Whether the module runs, and not the host.
    static inline bool isModuleRunning = false;

    struct Block {
        void* start;
        std::vector<std::byte> bytes;
    };

    InData in{};
    OutData out{};
    ParamDef params[7]{};
    ParamDef* paramList[7];
    EffectWorld output{};

    EffectMain* entry = nullptr; ///< to call instead of the module's, if any
    InData* inPointer = &in;
    OutData* outPointer = &out;
    ParamDef** paramsPointer = paramList;
    EffectWorld* outputPointer = &output;

    HandleSuite handleSuite{};
    ParamUtilsSuite paramSuite{};
    SuiteProvider provider{};
    UtilityCallbacks utilities{};
    std::map<std::string, const void*> suites; ///< by "name version"

    std::vector<std::string> calls;
    std::size_t failingCall = 0;        ///< counted from 1, the next one; a lookup gives null
    ErrorCode failure = 0;              ///< what that call answers
    std::string failed;                 ///< its name, once it was made
    std::vector<const char*> texts;     ///< what a lookup gives
    std::vector<ParamDef> added;        ///< as they came through add-parameter
    StringTableDescriptor descriptor{}; ///< as it was registered
    std::map<HostHandle, std::unique_ptr<Block>> handles; ///< the ones that are out
    std::map<std::string, int> acquired;                  ///< acquires less releases
    int tables = 0;                                       ///< registered less released
    std::vector<EffectWorld> clip;                        ///< the input layer, frame by frame
    std::set<const ParamDef*> checkedOut;
    StateToken state{};
    std::map<std::int32_t, std::int32_t> keyTimes; ///< by direction; none: no keyframe
    char tableReference = 0;                       ///< its address stands for the table
    ParamDef updatedParam{};
};

} // namespace tintwell::test
