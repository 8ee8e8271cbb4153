// A complete host in one file: loads the effect module given as argument, lists its controls,
// renders three frames with a second of temporal smoothing, and sets the module down. Explained in
// writing-a-host.md. One instance on one thread, so its state can be global; the library in host/
// shows how to do better.

#include "module/interface/host_interface.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <list>
#include <vector>

using namespace tintwell;

namespace {

constexpr std::int32_t kWidth = 32;
constexpr std::int32_t kHeight = 16;
constexpr std::int32_t kFrames = 3;
constexpr std::int32_t kTimeStep = 1;

using Pixels = std::vector<std::uint8_t>; // A,R,G,B

std::vector<Pixels> clip;
std::vector<ParamDef> controls; // as declared; parameter index 1 is the first

EffectWorld worldOf(Pixels& pixels) {
    EffectWorld world{};
    world.data = pixels.data();
    world.rowBytes = 4 * kWidth;
    world.width = kWidth;
    world.height = kHeight;
    return world;
}

// Interaction callbacks.

ErrorCode checkOut(std::uint64_t, std::int32_t index, std::int32_t time, std::int32_t,
                   std::uint32_t, ParamDef* param) {
    if (index > 0) {
        *param = controls.at(static_cast<std::size_t>(index) - 1);
        return error::kNone;
    }
    const std::int32_t frame = time / kTimeStep;
    if (frame < 0 || frame >= kFrames) {
        return error::kMissingRecord;
    }
    *param = ParamDef{};
    param->layer = worldOf(clip.at(static_cast<std::size_t>(frame)));
    return error::kNone;
}

ErrorCode checkIn(std::uint64_t, ParamDef*) {
    return error::kNone;
}

ErrorCode addParameter(std::uint64_t, std::int32_t, ParamDef* param) {
    controls.push_back(*param);
    return error::kNone;
}

// Strings: the module's own table serves as the reference that it keeps.

ErrorCode registerStrings(void**, std::int32_t, const char*) {
    return error::kNone;
}

const char* lookUpString(void* table, std::int32_t index, std::int32_t, std::int32_t) {
    const char* key = static_cast<StringTableDescriptor*>(table)->entries[index].keyString;
    const char* equals = std::strchr(key, '=');
    return equals == nullptr ? key : equals + 1;
}

ErrorCode releaseStrings(void**, void*, void*) {
    return error::kNone;
}

int format(char* destination, const char* text, ...) {
    std::va_list arguments;
    va_start(arguments, text);
    const int written = std::vsprintf(destination, text, arguments); // NOLINT(clang-analyzer*)
    va_end(arguments);
    return written;
}

char* copyString(char* destination, const char* source) {
    return std::strcpy(destination, source); // NOLINT(clang-analyzer*)
}

const UtilityCallbacks kUtilities = {{}, format, copyString};

// "PF Handle Suite" 2: a handle is the address of the pointer to its block.

struct Block {
    void* start;
    std::vector<std::max_align_t> memory;
};

std::list<Block> blocks;

HostHandle newHandle(std::uint64_t bytes) {
    Block& block = blocks.emplace_back();
    block.memory.resize(static_cast<std::size_t>(bytes) / sizeof(std::max_align_t) + 1);
    block.start = block.memory.data();
    return &block.start;
}

void disposeHandle(HostHandle handle) {
    blocks.remove_if([&](const Block& block) { return &block.start == handle; });
}

const HandleSuite kHandleSuite = {newHandle, {}, disposeHandle};

// "PF Param Utils Suite" 3. The controls never change here, so one state is all there is.

ErrorCode updateParamUi(std::uint64_t, std::int32_t, const ParamDef*) {
    return error::kNone;
}

ErrorCode currentState(std::uint64_t, std::int32_t, const void*, const void*, StateToken* state) {
    *state = StateToken{};
    return error::kNone;
}

ErrorCode compareStates(std::uint64_t, const StateToken*, const StateToken*,
                        std::uint8_t* identical) {
    *identical = 1;
    return error::kNone;
}

ErrorCode findKeyframe(std::uint64_t, std::int32_t, std::int32_t, std::uint32_t, std::int32_t,
                       std::uint8_t* found, std::int32_t*, std::int32_t*, std::uint32_t*) {
    *found = 0;
    return error::kNone;
}

const ParamUtilsSuite kParamUtils = {updateParamUi, currentState, compareStates, nullptr,
                                     findKeyframe};

ErrorCode acquire(const char* name, std::int32_t, const void** suite) {
    const bool handles = std::strcmp(name, kHandleSuiteName) == 0;
    *suite = handles ? static_cast<const void*>(&kHandleSuite) : &kParamUtils;
    return error::kNone;
}

ErrorCode release(const char*, std::int32_t) {
    return error::kNone;
}

const SuiteProvider kSuites = {acquire, release};

InData hostRecord() {
    InData in{};
    in.checkoutParameter = checkOut;
    in.checkinParameter = checkIn;
    in.addParameter = addParameter;
    in.registerStringTable = registerStrings;
    in.lookupString = lookUpString;
    in.releaseStringTable = releaseStrings;
    in.utilities = &kUtilities;
    in.suiteProvider = &kSuites;
    in.quality = kQualityHigh;
    in.timeStep = kTimeStep;
    in.localTimeStep = kTimeStep;
    in.timeScale = 25;
    in.totalDuration = kFrames * kTimeStep;
    return in;
}

/// A dull ramp that grows a little brighter from frame to frame.
void makeClip() {
    for (std::int32_t frame = 0; frame < kFrames; ++frame) {
        Pixels& pixels = clip.emplace_back();
        for (std::int32_t i = 0; i < kWidth * kHeight; ++i) {
            const auto level = static_cast<std::uint8_t>(60 + 4 * (i % kWidth) + 5 * frame);
            pixels.insert(pixels.end(), {255, level, level, level});
        }
    }
}

/// The module and its two records; passes the handles on from each command to the next.
struct Effect {
    EffectMain* entryPoint;
    InData in = hostRecord();
    std::vector<ParamDef*> params;

    ErrorCode send(Command command, EffectWorld* output = nullptr) {
        OutData out{};
        out.globalData = in.globalData;
        out.sequenceData = in.sequenceData;
        const ErrorCode code = entryPoint(static_cast<std::int32_t>(command), &in, &out,
                                          params.data(), output, nullptr);
        in.globalData = out.globalData;
        in.sequenceData = out.sequenceData;
        if (code != error::kNone) {
            std::fprintf(stderr, "command %d answered with code %d\n", static_cast<int>(command),
                         code);
        }
        return code;
    }
};

ErrorCode renderClip(Effect& effect) {
    ParamDef layer{};
    effect.params = {&layer};
    for (ParamDef& control : controls) {
        std::printf("control: %s\n", control.name);
        effect.params.push_back(&control);
    }
    effect.params[1]->slider.value = 1.0; // Temporal Smoothing, seconds
    for (std::int32_t frame = 0; frame < kFrames; ++frame) {
        Pixels& input = clip.at(static_cast<std::size_t>(frame));
        Pixels result(input.size());
        EffectWorld output = worldOf(result);
        layer.layer = worldOf(input);
        effect.in.currentTime = frame * kTimeStep;
        if (const ErrorCode code = effect.send(Command::Render, &output); code != error::kNone) {
            return code;
        }
        std::printf("frame %d: red of the first row %d..%d became %d..%d\n", frame, input[1],
                    input[4 * kWidth - 3], result[1], result[4 * kWidth - 3]);
    }
    return error::kNone;
}

} // namespace

int main(int argc, char** argv) {
    void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    void* symbol = library != nullptr ? dlsym(library, "main") : nullptr;
    if (symbol == nullptr) {
        std::fprintf(stderr, "usage: minimal_host MODULE (a file that exports main)\n");
        return 2;
    }
    makeClip();
    Effect effect{reinterpret_cast<EffectMain*>(symbol), hostRecord(), {}};
    ErrorCode code = effect.send(Command::GlobalSetup);
    code = code != 0 ? code : effect.send(Command::ParamsSetup);
    code = code != 0 ? code : effect.send(Command::SequenceSetup);
    code = code != 0 ? code : renderClip(effect);
    effect.send(Command::SequenceSetdown);
    effect.send(Command::GlobalSetdown);
    dlclose(library);
    return code == 0 ? 0 : 1;
}
