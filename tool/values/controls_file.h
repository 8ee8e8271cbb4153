#pragma once

#include "host/control_track.h"

#include <map>
#include <string>
#include <string_view>

namespace tintwell::tool {

/// The controls that a file sets; docs/controls-file.md describes the format.
using ControlSettings = std::map<host::Control, host::ControlTrack>;

/// Reads a controls file. Throws UserError: Failed where the file cannot be read, Usage where what
/// it says is wrong, naming file, line and key.
ControlSettings readControlsFile(const std::string& path);

/// The same from text already read; `name` is what messages call it.
ControlSettings parseControls(std::string_view text, const std::string& name);

/// A document that sets every control to its initial value, one of them with keyframes as an
/// example to change.
std::string controlsTemplate();

} // namespace tintwell::tool
