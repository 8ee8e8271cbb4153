#pragma once

#include "module/interface/host_interface.h"

namespace tintwell {

/// One call of the module: runs the command, and asks the host to show an error where it fails.
/// Nothing but a code leaves it.
ErrorCode runCommand(std::int32_t command, InData* inData, OutData* outData, ParamDef** params,
                     EffectWorld* output, void* extra) noexcept;

} // namespace tintwell
