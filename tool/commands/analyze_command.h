#pragma once

#include "tool/options/command.h"

namespace tintwell::tool {

/// `tintwell analyze`: tells what the correction of each frame is.
Command addAnalyzeCommand(CLI::App& parent);

} // namespace tintwell::tool
