#pragma once

#include "tool/options/command.h"

#include <filesystem>
#include <string>

namespace tintwell::tool {

/// `tintwell controls`: lists the controls as the module declares them.
Command addControlsCommand(CLI::App& parent);

/// One line: the module's own name and version, and its file. Throws when it does not load.
std::string describeModule(const std::filesystem::path& module);

} // namespace tintwell::tool
