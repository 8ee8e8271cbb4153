#pragma once

#include "tool/options/command.h"

namespace tintwell::tool {

/// `tintwell lut`: writes the correction of a frame as a lookup table for other programs.
Command addLutCommand(CLI::App& parent);

} // namespace tintwell::tool
