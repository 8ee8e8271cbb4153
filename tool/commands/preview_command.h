#pragma once

#include "tool/options/command.h"

namespace tintwell::tool {

/// `tintwell preview`: a picture of one frame before and after its correction.
Command addPreviewCommand(CLI::App& parent);

} // namespace tintwell::tool
