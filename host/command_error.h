#pragma once

#include "module/interface/host_interface.h"

#include <stdexcept>
#include <string>

namespace tintwell::host {

/// The name of a command as in host_interface.h.
std::string commandName(Command command);

/// A command of the module answered with an error code.
class CommandError : public std::runtime_error {
public:
    /// `cause` is the text of an exception that a frame source threw meanwhile, or empty.
    CommandError(Command command, ErrorCode code, bool showRequested, const std::string& cause);

    Command command() const { return command_; }

    ErrorCode code() const { return code_; }

    /// The module asked for the error to be shown to the user.
    bool showRequested() const { return showRequested_; }

private:
    Command command_;
    ErrorCode code_;
    bool showRequested_;
};

} // namespace tintwell::host
