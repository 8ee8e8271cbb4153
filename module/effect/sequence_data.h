#pragma once

#include "module/interface/host_interface.h"

namespace tintwell {

/// The commands that make and destroy the cache.
ErrorCode setUpSequence(InData* inData, OutData* outData);
ErrorCode resetUpSequence(InData* inData, OutData* outData);
ErrorCode setDownSequence(InData* inData, OutData* outData);

} // namespace tintwell
