#include "raw_host.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <stdexcept>

namespace tintwell::test {
namespace {

RawHost* current = nullptr;

EffectMain* loadModule() {
    void* module = dlopen(TINTWELL_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    void* entry = module == nullptr ? nullptr : dlsym(module, "main");
    if (entry == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return reinterpret_cast<EffectMain*>(entry);
}

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
    if (code > 0) {
        return nullptr;
    }
    // The handle is a host's own allocation; what the module owns inside it is not the host's.
    auto handle = std::make_unique<void*>(nullptr);
    std::vector<std::byte> block(bytes, std::byte{0xcd});
    *handle = code == 0 ? block.data() : nullptr;
    current->handles[handle.get()] = std::move(block);
    return handle.release();
}

void disposeHandle(HostHandle handle) {
    current->answerTo("dispose");
    if (current->handles.erase(handle) != 1) {
        ADD_FAILURE() << "a handle that is not out was disposed";
        return;
    }
    delete handle;
}

ErrorCode checkout(std::uint64_t, std::int32_t, std::int32_t, std::int32_t, std::uint32_t,
                   ParamDef*) {
    return current->answerTo("checkout");
}

ErrorCode checkin(std::uint64_t, ParamDef*) {
    return current->answerTo("checkin");
}

ErrorCode addParameter(std::uint64_t effect, std::int32_t index, ParamDef* param) {
    current->added.push_back(*param);
    return current->answerTo("add " + std::to_string(effect) + " " + std::to_string(index) + " " +
                             std::to_string(param->id));
}

ErrorCode registerTable(void** table, std::int32_t id, const char* plainName) {
    current->descriptor = *static_cast<const StringTableDescriptor*>(*table);
    for (std::int64_t i = 0; i + 1 < current->descriptor.count; ++i) {
        current->keyStrings.emplace_back(current->descriptor.entries[i].keyString);
    }
    current->tableId = id;
    current->plainName = plainName;
    *table = &current->tableReference;
    return current->answerTo("register");
}

const char* lookup(void* table, std::int32_t index, std::int32_t a, std::int32_t b) {
    EXPECT_EQ(table, &current->tableReference);
    EXPECT_TRUE(a == 0 && b == 0);
    return current->texts.at(static_cast<std::size_t>(index));
}

ErrorCode releaseTable(void** table, void*, void* reference) {
    const bool same = *table == reference && reference == &current->tableReference;
    return current->answerTo(same ? "unregister" : "unregister another table");
}

int format(char* destination, const char* text, ...) {
    std::va_list arguments;
    va_start(arguments, text);
    const int length = std::vsprintf(destination, text, arguments);
    va_end(arguments);
    return length;
}

char* copyString(char* destination, const char* source) {
    return std::strcpy(destination, source);
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

} // namespace

RawHost::RawHost() {
    current = this;
    provider = {acquire, release};
    handleSuite.newHandle = newHandle;
    handleSuite.disposeHandle = disposeHandle;
    paramSuite.updateParamUI = updateParamUI;
    paramSuite.getCurrentState = getState;
    paramSuite.findKeyframeTime = findKeyframe;
    suites = {{"PF Handle Suite 2", &handleSuite}, {"PF Param Utils Suite 3", &paramSuite}};
    utilities.format = format;
    utilities.copyString = copyString;
    in.checkoutParameter = checkout;
    in.checkinParameter = checkin;
    in.addParameter = addParameter;
    in.registerStringTable = registerTable;
    in.lookupString = lookup;
    in.releaseStringTable = releaseTable;
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
    for (const auto& [handle, block] : handles) {
        delete handle;
    }
    current = nullptr;
}

ErrorCode RawHost::send(std::int32_t command, void* extra) {
    static EffectMain* const module = loadModule();
    calls.clear();
    return module(command, inPointer, outPointer, paramsPointer, outputPointer, extra);
}

ErrorCode RawHost::answerTo(const std::string& call) {
    calls.push_back(call);
    const auto answer = answers.find(call);
    return answer == answers.end() ? 0 : answer->second;
}

} // namespace tintwell::test
