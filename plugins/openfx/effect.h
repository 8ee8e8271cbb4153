#pragma once

#include "plugins/core/findings_store.h"
#include "plugins/openfx/host_services.h"
#include "plugins/openfx/instance.h"

#include <map>
#include <memory>
#include <mutex>
#include <string_view>

namespace tintwell::openfx {

/// The effect while a host has it loaded: what all its instances share, and the actions that it
/// answers. Actions on different instances may come at once.
class Effect {
public:
    explicit Effect(const Host* host) : host_(host) {}

    /// Answers an action. Throws Failure, std::bad_alloc.
    Status act(std::string_view name, const void* handle, const Properties& in,
               const Properties& out);

    const HostServices& host() const { return host_; }

private:
    std::shared_ptr<Instance> instanceOf(EffectHandle handle);
    void createInstance(EffectHandle handle);
    void destroyInstance(EffectHandle handle);

    HostServices host_;
    plugins::FindingsStore store_;
    std::mutex mutex_; ///< of the map
    std::map<EffectHandle, std::shared_ptr<Instance>> instances_;
};

} // namespace tintwell::openfx
