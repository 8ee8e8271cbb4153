#pragma once

#include "tool/options/command.h"

namespace tintwell::tool {

/// `tintwell report`: a page that shows what the correction does to a clip.
Command addReportCommand(CLI::App& parent);

} // namespace tintwell::tool
