#pragma once

// The six controls as they are declared to the host.

#include "module/interface/host_interface.h"

namespace tintwell {

/// Declares the controls in order, stopping at the host's first error. The parameter count is
/// written once all of them stand.
ErrorCode addControls(const InData& inData, OutData& outData);

} // namespace tintwell
