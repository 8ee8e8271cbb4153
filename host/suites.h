#pragma once

#include "module/interface/host_interface.h"

namespace tintwell::host {

/// Hands out "PF Handle Suite" 2 and "PF Param Utils Suite" 3, and counts how often each is held.
const SuiteProvider& suiteProvider();

} // namespace tintwell::host
