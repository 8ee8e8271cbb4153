#pragma once

#include "tool/options/command.h"

namespace tintwell::tool {

/// `tintwell manual`: prints or writes manual pages of the program and of the commands that the
/// parent has by then.
Command addManualCommand(CLI::App& parent);

} // namespace tintwell::tool
