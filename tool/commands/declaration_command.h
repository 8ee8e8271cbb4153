#pragma once

#include "tool/options/command.h"

namespace tintwell::tool {

/// `tintwell declaration`: prints what a module file declares, without loading the module.
Command addDeclarationCommand(CLI::App& parent);

} // namespace tintwell::tool
