#pragma once

#include "plugins/openfx/properties.h"
#include "plugins/openfx/standard.h"

#include <stdexcept>
#include <string>

namespace tintwell::openfx {

/// Ends an action with a status that the host understands.
class Failure : public std::runtime_error {
public:
    /// The text is told to the user; an empty one leaves it to the host.
    Failure(Status status, const std::string& text) : std::runtime_error(text), status_(status) {}

    Status status() const { return status_; }

private:
    Status status_;
};

/// The host's suites, and what it says of itself. Valid from one load of the plug-in to its unload.
class HostServices {
public:
    /// Throws Failure where the host lacks what nothing works without.
    explicit HostServices(const Host* host);

    Properties properties(PropertySetHandle handle) const { return {property_, handle}; }

    const ImageEffectSuite& effects() const { return effects_; }

    const ParameterSuite& params() const { return params_; }

    /// Whether images of other times than the one that is rendered can be asked for.
    bool hasTemporalAccess() const { return hasTemporalAccess_; }

    /// Tells the user, where the host has a way to.
    void tell(EffectHandle effect, const char* type, const std::string& text) const;

private:
    const PropertySuite& property_;
    const ImageEffectSuite& effects_;
    const ParameterSuite& params_;
    const MessageSuite* message_; ///< may be null, and so may its function
    bool hasTemporalAccess_;
};

} // namespace tintwell::openfx
