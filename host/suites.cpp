#include "host/suites.h"

#include "host/keyframe_search.h"
#include "host/service_gate.h"
#include "host/state_token.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

namespace tintwell::host {

namespace {

HostHandle newHandle(std::uint64_t bytes) {
    return serveAnswer<HostHandle>(Service::NewHandle, nullptr, [&](Services& services) {
        return services.handles().allocate(bytes);
    });
}

void disposeHandle(HostHandle handle) {
    serve(Service::DisposeHandle, [&](Services& services) {
        return services.handles().dispose(handle)
                   ? error::kNone
                   : services.misused("a handle was disposed that was not allocated");
    });
}

ErrorCode updateParamUi(std::uint64_t reference, std::int32_t index, const ParamDef* param) {
    return serve(Service::UpdateParameterUi, reference, [&](Services& services) {
        if (param == nullptr) {
            return error::kMissingRecord;
        }
        if (!services.parameters().isControl(index)) {
            return host_error::kBadArgument;
        }
        services.parameters().updateUi(index, *param);
        return error::kNone;
    });
}

/// The state is always that of the whole clip, whatever span is asked for: a token that changes
/// more often than it must only costs the module a new analysis.
ErrorCode currentState(std::uint64_t reference, std::int32_t index, const void* /*start*/,
                       const void* /*duration*/, StateToken* state) {
    return serve(Service::CurrentState, reference, [&](Services& services) {
        constexpr std::int32_t kAllParameters = 0;
        if (state == nullptr) {
            return error::kMissingRecord;
        }
        const ControlTracks& tracks = services.parameters().tracks();
        if (index == kAllParameters) {
            *state = stateOf(tracks);
        } else if (index >= 1 && static_cast<std::size_t>(index) <= kControlCount) {
            *state = stateOf(tracks, static_cast<Control>(index));
        } else {
            return host_error::kBadArgument;
        }
        return error::kNone;
    });
}

ErrorCode compareStates(std::uint64_t reference, const StateToken* a, const StateToken* b,
                        std::uint8_t* identical) {
    return serve(Service::CompareStates, reference, [&](Services&) {
        if (a == nullptr || b == nullptr || identical == nullptr) {
            return error::kMissingRecord;
        }
        *identical = std::memcmp(a->bytes, b->bytes, sizeof a->bytes) == 0 ? 1 : 0;
        return error::kNone;
    });
}

/// What a keyframe query asks, once its arguments are known to be good.
std::optional<FoundKeyframe> searchKeyframe(const Services& services, std::int32_t index,
                                            std::int32_t time, std::uint32_t timeScale,
                                            std::int32_t direction) {
    const ClipTiming& timing = services.timing();
    const ControlTrack& track = services.parameters().tracks()[static_cast<Control>(index)];
    return findKeyframe(track, timing, timing.clipTime(time, timeScale),
                        static_cast<KeyframeDirection>(direction));
}

bool isDirection(std::int32_t direction) {
    return direction == static_cast<std::int32_t>(KeyframeDirection::After) ||
           direction == static_cast<std::int32_t>(KeyframeDirection::Before);
}

ErrorCode findKeyframeTime(std::uint64_t reference, std::int32_t index, std::int32_t time,
                           std::uint32_t timeScale, std::int32_t direction, std::uint8_t* found,
                           std::int32_t* keyIndex, std::int32_t* keyTime,
                           std::uint32_t* keyTimeScale) {
    return serve(Service::FindKeyframe, reference, [&](Services& services) {
        if (!found || !keyIndex || !keyTime || !keyTimeScale) {
            return error::kMissingRecord;
        }
        const bool isTrack = index >= 1 && static_cast<std::size_t>(index) <= kControlCount;
        if (!isTrack || timeScale == 0 || !isDirection(direction)) {
            return host_error::kBadArgument;
        }
        const auto key = searchKeyframe(services, index, time, timeScale, direction);
        *found = key ? 1 : 0;
        *keyIndex = key ? key->index : 0;
        *keyTime = key ? services.timing().timeOf(key->frame) : 0;
        *keyTimeScale = services.timing().timeScale;
        return error::kNone;
    });
}

const HandleSuite kHandleSuite = {newHandle, {}, disposeHandle};
const ParamUtilsSuite kParamUtilsSuite = {updateParamUi, currentState, compareStates, nullptr,
                                          findKeyframeTime};

const void* suiteNamed(std::string_view name, std::int32_t version) {
    if (name == kHandleSuiteName && version == kHandleSuiteVersion) {
        return &kHandleSuite;
    }
    if (name == kParamUtilsSuiteName && version == kParamUtilsSuiteVersion) {
        return &kParamUtilsSuite;
    }
    return nullptr;
}

ErrorCode acquireSuite(const char* name, std::int32_t version, const void** suite) {
    return serve(Service::AcquireSuite, [&](Services& services) {
        if (name == nullptr || suite == nullptr) {
            return error::kMissingRecord;
        }
        *suite = nullptr;
        const void* found = suiteNamed(name, version);
        if (found == nullptr) {
            return host_error::kNoSuchSuite;
        }
        services.suiteAcquired({name, version});
        *suite = found;
        return error::kNone;
    });
}

ErrorCode releaseSuite(const char* name, std::int32_t version) {
    return serve(Service::ReleaseSuite, [&](Services& services) {
        return name == nullptr ? error::kMissingRecord : services.suiteReleased({name, version});
    });
}

const SuiteProvider kSuiteProvider = {acquireSuite, releaseSuite};

} // namespace

const SuiteProvider& suiteProvider() {
    return kSuiteProvider;
}

} // namespace tintwell::host
