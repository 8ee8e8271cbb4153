#pragma once

#include "module/interface/host_interface.h"

namespace tintwell::host {

/// Puts this host's callbacks, utility table and suite provider into the record. They answer for
/// the instance whose command runs on the calling thread (see service_gate.h).
void installCallbacks(InData& inData);

} // namespace tintwell::host
