#include "raw_host.h"

#include "host/module_library.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

namespace tintwell::test {
namespace {

RawHost* current = nullptr;

/// A function of the host, during which the module does not run.
template <auto function>
struct OfHost;

template <class Result, class... Arguments, Result (*function)(Arguments...)>
struct OfHost<function> {
    static Result call(Arguments... arguments) {
        struct Pause {
            Pause() { RawHost::isModuleRunning = false; }

            ~Pause() { RawHost::isModuleRunning = true; }
        } const pause;

        return function(arguments...);
    }
};

std::string suiteKey(const char* name, std::int32_t version) {
    return std::string(name) + " " + std::to_string(version);
}

ErrorCode acquire(const char* name, std::int32_t version, const void** suite) {
    const std::string key = suiteKey(name, version);
    const ErrorCode code = current->answerTo("acquire " + key);
    if (code == 0) {
        ++current->acquired[key];
        *suite = current->suites.at(key);
    }
    return code;
}

ErrorCode release(const char* name, std::int32_t version) {
    const std::string key = suiteKey(name, version);
    --current->acquired[key];
    return current->answerTo("release " + key);
}

HostHandle newHandle(std::uint64_t bytes) {
    const ErrorCode code = current->answerTo("new " + std::to_string(bytes));
    if (code != 0 && code != -1) {
        return nullptr;
    }
    auto block = std::make_unique<RawHost::Block>();
    block->bytes.resize(bytes, std::byte{0xcd});
    block->start = code == 0 ? block->bytes.data() : nullptr;
    const HostHandle handle = &block->start;
    current->handles[handle] = std::move(block);
    return handle;
}

void disposeHandle(HostHandle handle) {
    current->answerTo("dispose");
    EXPECT_EQ(current->handles.erase(handle), 1U) << "a handle that is not out was disposed";
}

ErrorCode addParameter(std::uint64_t effect, std::int32_t index, ParamDef* param) {
    current->added.push_back(*param);
    return current->answerTo("add " + std::to_string(effect) + " " + std::to_string(index) + " " +
                             std::to_string(param->id));
}

ErrorCode registerTable(void** table, std::int32_t id, const char* plainName) {
    current->descriptor = *static_cast<const StringTableDescriptor*>(*table);
    *table = &current->tableReference;
    const ErrorCode code = current->answerTo("register " + suiteKey(plainName, id));
    current->tables += code == 0;
    return code;
}

const char* lookup(void* table, std::int32_t index, std::int32_t a, std::int32_t b) {
    EXPECT_EQ(table, &current->tableReference);
    EXPECT_TRUE(a == 0 && b == 0);
    const bool fails = current->fails("look up " + std::to_string(index));
    return fails ? nullptr : current->texts.at(static_cast<std::size_t>(index));
}

ErrorCode releaseTable(void** table, void*, void* reference) {
    const bool same = *table == reference && reference == &current->tableReference;
    const ErrorCode code = current->answerTo(same ? "unregister" : "unregister another table");
    current->tables -= code == 0;
    return code;
}

ErrorCode updateParamUI(std::uint64_t, std::int32_t index, const ParamDef* param) {
    current->updatedParam = *param;
    return current->answerTo("update " + std::to_string(index));
}

ErrorCode getState(std::uint64_t, std::int32_t index, const void* start, const void* duration,
                   StateToken* state) {
    *state = current->state;
    return current->answerTo("state " + std::to_string(index) + (start || duration ? " at" : ""));
}

ErrorCode compareStates(std::uint64_t, const StateToken* a, const StateToken* b,
                        std::uint8_t* identical) {
    *identical = std::memcmp(a, b, sizeof(StateToken)) == 0;
    return current->answerTo("compare");
}

ErrorCode findKeyframe(std::uint64_t, std::int32_t index, std::int32_t, std::uint32_t,
                       std::int32_t direction, std::uint8_t* found, std::int32_t*,
                       std::int32_t* keyTime, std::uint32_t*) {
    const auto key = current->keyTimes.find(direction);
    *found = key != current->keyTimes.end();
    if (*found != 0) {
        *keyTime = key->second;
    }
    return current->answerTo("keyframe " + std::to_string(index) + " " + std::to_string(direction));
}

ErrorCode checkOut(std::uint64_t, std::int32_t index, std::int32_t time, std::int32_t timeStep,
                   std::uint32_t, ParamDef* param) {
    const ErrorCode code =
        current->answerTo("check out " + std::to_string(index) + " at " + std::to_string(time));
    if (code != 0) {
        std::memset(static_cast<void*>(param), 0xcd, sizeof *param); // not for use
        return code;
    }
    *param = current->params[index];
    if (index == 0) {
        param->layer = current->clip.at(static_cast<std::size_t>(time / timeStep));
    }
    EXPECT_TRUE(current->checkedOut.insert(param).second);
    return code;
}

ErrorCode checkIn(std::uint64_t, ParamDef* param) {
    EXPECT_EQ(current->checkedOut.erase(param), 1U) << "not checked out";
    return current->answerTo("check in");
}

ErrorCode abort(std::uint64_t) {
    return current->answerTo("abort");
}

} // namespace

RawHost::RawHost() {
    current = this;
    provider = {OfHost<acquire>::call, OfHost<release>::call};
    handleSuite = {OfHost<newHandle>::call, {}, OfHost<disposeHandle>::call};
    paramSuite = {OfHost<updateParamUI>::call, OfHost<getState>::call, OfHost<compareStates>::call,
                  nullptr, OfHost<findKeyframe>::call};
    suites = {{"PF Handle Suite 2", &handleSuite}, {"PF Param Utils Suite 3", &paramSuite}};
    utilities = {{}, std::sprintf, std::strcpy};
    in.checkoutParameter = OfHost<checkOut>::call;
    in.checkinParameter = OfHost<checkIn>::call;
    in.addParameter = OfHost<addParameter>::call;
    in.abort = OfHost<abort>::call;
    in.registerStringTable = OfHost<registerTable>::call;
    in.lookupString = OfHost<lookup>::call;
    in.releaseStringTable = OfHost<releaseTable>::call;
    in.utilities = &utilities;
    in.effectReference = 77;
    in.quality = kQualityHigh;
    in.timeStep = in.localTimeStep = 10;
    in.timeScale = 250;
    in.suiteProvider = &provider;
    texts = {"v%d.%d", "Tintwell", "smooth", "scenes", "black", "white", "snap", "blend"};
    for (std::size_t i = 0; i < 7; ++i) {
        paramList[i] = &params[i];
    }
}

RawHost::~RawHost() {
    current = nullptr;
}

ErrorCode RawHost::send(std::int32_t command, void* extra) {
    static const host::ModuleLibrary kModule(TINTWELL_MODULE_PATH);
    EffectMain* const effectMain = entry != nullptr ? entry : kModule.entryPoint();
    calls.clear();
    isModuleRunning = true;
    const ErrorCode code =
        effectMain(command, inPointer, outPointer, paramsPointer, outputPointer, extra);
    isModuleRunning = false;
    return code;
}

bool RawHost::fails(const std::string& call) {
    if (failingCall == 0 || --failingCall != 0) {
        return false;
    }
    failed = call;
    return true;
}

ErrorCode RawHost::answerTo(const std::string& call) {
    calls.push_back(call);
    return fails(call) ? failure : 0;
}

} // namespace tintwell::test
