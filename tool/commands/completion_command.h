#pragma once

#include "tool/options/command.h"

namespace tintwell::tool {

/// `tintwell completion`: prints a script that completes the program's command lines.
Command addCompletionCommand(CLI::App& parent);

} // namespace tintwell::tool
