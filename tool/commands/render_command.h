#pragma once

#include "tool/options/command.h"

namespace tintwell::tool {

/// `tintwell render`: corrects a clip.
Command addRenderCommand(CLI::App& parent);

} // namespace tintwell::tool
