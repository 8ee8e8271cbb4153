#pragma once

#include "host/control_track.h"

#include <array>
#include <string>
#include <string_view>

namespace tintwell::tool {

/// How the tool names and checks one control. The module declares the same ranges; knowing them
/// here lets options and controls files be checked, and help be shown, without loading it.
struct ControlInfo {
    host::Control control;
    std::string_view key; ///< name of the option (after "--") and of the key in a controls file
    bool isCheckbox;
    double minimum;
    double maximum;
    double initial;
    std::string_view unit; ///< empty for a checkbox
    std::string_view help;
};

using ControlCatalog = std::array<ControlInfo, host::kControlCount>;

/// The six controls in the order of their parameter indices.
const ControlCatalog& controlCatalog();

/// Null where no control has this key.
const ControlInfo* findControl(std::string_view key);

/// "between 0 and 10 (seconds)".
std::string rangeText(const ControlInfo& control);

/// Every control at its initial value.
host::ControlTracks initialControls();

} // namespace tintwell::tool
