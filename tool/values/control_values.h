#pragma once

#include "host/control_track.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

namespace tintwell::tool {

/// Each control's key with its value: a number, "on" or "off", or "keyframed (3 keys)".
std::vector<std::pair<std::string, std::string>> controlLines(const host::ControlTracks& controls);

/// "temporal-smoothing 1, scene-detect on, black-clip keyframed (3 keys), ...".
std::string controlsText(const host::ControlTracks& controls);

/// The same in the form of a controls file's "controls" (docs/controls-file.md), all six.
nlohmann::ordered_json controlsJson(const host::ControlTracks& controls);

} // namespace tintwell::tool
