// The functions that hosts look up in the file, and what stands behind them.

#include "plugins/openfx/effect.h"

#include <memory>
#include <mutex>
#include <new>
#include <string_view>

#if defined(_WIN32)
#define TINTWELL_EXPORTED __declspec(dllexport)
#else
#define TINTWELL_EXPORTED __attribute__((visibility("default")))
#endif

namespace tintwell::openfx {
namespace {

/// What hosts set and load before anything else, and unload after everything.
struct Loaded {
    std::mutex mutex;
    Host* host = nullptr;
    std::shared_ptr<Effect> effect;
};

Loaded& loaded() {
    static Loaded state;
    return state;
}

std::shared_ptr<Effect> loadedEffect() {
    const std::scoped_lock lock(loaded().mutex);
    return loaded().effect;
}

void setHost(Host* host) {
    const std::scoped_lock lock(loaded().mutex);
    loaded().host = host;
}

Status load() {
    const std::scoped_lock lock(loaded().mutex);
    loaded().effect = std::make_shared<Effect>(loaded().host);
    return status::kOk;
}

Status unload() {
    const std::scoped_lock lock(loaded().mutex);
    loaded().effect.reset();
    return status::kOk;
}

Status actLoaded(std::string_view name, const void* handle, PropertySetHandle in,
                 PropertySetHandle out) {
    const std::shared_ptr<Effect> effect = loadedEffect();
    if (!effect) {
        return status::kFailed;
    }
    const HostServices& host = effect->host();
    try {
        return effect->act(name, handle, host.properties(in), host.properties(out));
    } catch (const Failure& failure) {
        host.tell(static_cast<EffectHandle>(const_cast<void*>(handle)), value::kMessageError,
                  failure.what());
        return failure.status();
    }
}

/// Nothing but a status leaves the plug-in.
Status mainEntry(const char* action, const void* handle, PropertySetHandle in,
                 PropertySetHandle out) {
    try {
        if (action == nullptr) {
            return status::kReplyDefault;
        }
        const std::string_view name = action;
        return name == action::kLoad     ? load()
               : name == action::kUnload ? unload()
                                         : actLoaded(name, handle, in, out);
    } catch (const Failure& failure) {
        return failure.status();
    } catch (const std::bad_alloc&) {
        return status::kOutOfMemory;
    } catch (...) {
        return status::kFailed;
    }
}

Plugin& plugin() {
    // By the identifier saved projects know the effect: it never changes.
    static Plugin description = {
        kImageEffectApi, kImageEffectApiVersion, "tintwell.Tintwell", 1, 0, setHost, mainEntry};
    return description;
}

} // namespace
} // namespace tintwell::openfx

// NOLINTBEGIN(readability-identifier-naming): the standard's names
extern "C" {

TINTWELL_EXPORTED int OfxGetNumberOfPlugins() {
    return 1;
}

TINTWELL_EXPORTED tintwell::openfx::Plugin* OfxGetPlugin(int index) {
    return index == 0 ? &tintwell::openfx::plugin() : nullptr;
}
}
// NOLINTEND(readability-identifier-naming)
