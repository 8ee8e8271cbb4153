#include "host.h"

#include "check.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tintwell::fuzz {
namespace {

constexpr std::size_t kTextSize = 256; ///< of the longest text that anyone has room for

Host* host = nullptr;
char stringTable = 0; ///< its address stands for the registered table

bool isEnded(const char* text, std::size_t size) {
    return std::memchr(text, 0, size) != nullptr;
}

ErrorCode checkOut(std::uint64_t, std::int32_t index, std::int32_t time, std::int32_t,
                   std::uint32_t, ParamDef* param) {
    check(index >= 0 && index < 7, "only parameters that were declared are asked for");
    if (const ErrorCode code = host->answer(); code != error::kNone) {
        return code;
    }
    if (--host->patience < 0) {
        return error::kInterrupted;
    }
    *param = host->params[index];
    if (index == 0) {
        const Picture& frame = host->frameAt(time);
        if (frame.isEndless()) {
            return error::kOutOfMemory;
        }
        param->layer = frame.world();
    }
    ++host->parametersOut;
    return error::kNone;
}

ErrorCode checkIn(std::uint64_t, ParamDef*) {
    --host->parametersOut;
    return host->answer();
}

ErrorCode add(std::uint64_t, std::int32_t, ParamDef* param) {
    check(isEnded(param->name, sizeof(param->name)), "names fit their field");
    return host->answer();
}

ErrorCode abort(std::uint64_t) {
    return host->answer();
}

ErrorCode registerTable(void** table, std::int32_t, const char*) {
    *table = &stringTable;
    return host->answer();
}

const char* lookUp(void* table, std::int32_t, std::int32_t, std::int32_t) {
    check(table == &stringTable, "texts are looked up in the registered table");
    return host->hasText ? host->text.c_str() : nullptr;
}

ErrorCode releaseTable(void**, void*, void* table) {
    check(table == &stringTable, "the registered table is released");
    return host->answer();
}

char* copy(char* destination, const char* source) {
    check(isEnded(source, kTextSize), "texts are cut to fit");
    return std::strcpy(destination, source);
}

/// Does not take texts for formats, as they may hold any conversion: the host's own fault.
int format(char* destination, const char* format, ...) {
    copy(destination, format);
    return 0;
}

ErrorCode acquire(const char* name, std::int32_t, const void** suite) {
    if (const ErrorCode code = host->answer(); code != error::kNone) {
        return code;
    }
    ++host->suitesOut;
    *suite = host->tables->suites[std::strcmp(name, kHandleSuiteName) == 0 ? 0 : 1];
    return error::kNone;
}

ErrorCode release(const char*, std::int32_t) {
    --host->suitesOut;
    return host->answer();
}

HostHandle newHandle(std::uint64_t bytes) {
    const ErrorCode code = host->answer();
    return code == error::kNone ? host->newBlock(bytes, Host::Content::Modules)
           : code % 2 == 0      ? nullptr
                                : host->newBlock(0, Host::Content::Modules);
}

void disposeHandle(HostHandle handle) {
    host->dispose(handle);
}

ErrorCode updateParam(std::uint64_t, std::int32_t, const ParamDef*) {
    return host->answer();
}

ErrorCode getState(std::uint64_t, std::int32_t, const void*, const void*, StateToken* state) {
    *state = {};
    return host->answer();
}

ErrorCode compareStates(std::uint64_t, const StateToken*, const StateToken*,
                        std::uint8_t* identical) {
    *identical = host->identical;
    return host->answer();
}

ErrorCode findKey(std::uint64_t, std::int32_t, std::int32_t, std::uint32_t, std::int32_t direction,
                  std::uint8_t* found, std::int32_t* keyIndex, std::int32_t* keyTime,
                  std::uint32_t* keyTimeScale) {
    *found = host->found;
    *keyIndex = 0;
    *keyTime = direction == 0 ? host->keyTime : 0;
    *keyTimeScale = 0;
    return host->answer();
}

} // namespace

Host::Host() {
    host = this;
}

void Host::connect(InData& in, Tables& own) {
    tables = &own;
    own.provider = {acquire, release};
    own.utilities.format = format;
    own.utilities.copyString = copy;
    own.handleSuite = {newHandle, {}, disposeHandle};
    own.paramSuite = {updateParam, getState, compareStates, nullptr, findKey};
    own.suites[0] = &own.handleSuite;
    own.suites[1] = &own.paramSuite;
    in.checkoutParameter = checkOut;
    in.checkinParameter = checkIn;
    in.addParameter = add;
    in.abort = abort;
    in.registerStringTable = registerTable;
    in.lookupString = lookUp;
    in.releaseStringTable = releaseTable;
    in.utilities = &own.utilities;
    in.suiteProvider = &own.provider;
}

ErrorCode Host::answer() {
    if (failAt != 1) {
        failAt -= failAt == 0 ? 0 : 1;
        return error::kNone;
    }
    failAt = staysBroken ? 1 : 0;
    return faultCode;
}

HostHandle Host::newBlock(std::size_t bytes, Content content) {
    const auto block = std::ranges::find(blocks, Content::None, &Block::content);
    check(block != std::end(blocks), "handles do not get lost");
    *block = {content, bytes == 0 ? nullptr : std::malloc(bytes)};
    return &block->start;
}

void Host::dispose(HostHandle handle) {
    const auto block = std::ranges::find(blocks, handle, [](Block& each) { return &each.start; });
    check(block != std::end(blocks) && block->content != Content::None, "handles are out once");
    std::free(block->start);
    *block = {};
}

} // namespace tintwell::fuzz
