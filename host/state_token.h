#pragma once

#include "host/control_track.h"
#include "module/interface/host_interface.h"

#include <optional>

namespace tintwell::host {

/// A fingerprint of the controls over the whole clip, of one control or of all six: tracks with
/// the same keys and values give the same token, and different ones a different token for all
/// practical purposes (128 bits). The bytes are the same on every platform.
StateToken stateOf(const ControlTracks& tracks, std::optional<Control> only = std::nullopt);

} // namespace tintwell::host
