#pragma once

#include "tool/command.h"

namespace tintwell::tool {

/// `tintwell render`: corrects a clip.
Command addRenderCommand(CLI::App& parent);

} // namespace tintwell::tool
