#pragma once

#include "module/interface/host_interface.h"

#include <string>

namespace tintwell::host {

/// Codes that this host answers a module with, beside those of the effect interface. The module
/// passes them on unchanged, so they come back as the result of its command.
namespace host_error {
/// A callback was used outside a command, or with another instance's reference.
inline constexpr ErrorCode kWrongReference = 20000;
/// An index, direction, time scale or control type that this host does not know.
inline constexpr ErrorCode kBadArgument = 20001;
/// A frame before the clip's first or after its last one was asked for.
inline constexpr ErrorCode kFrameOutsideClip = 20002;
/// The frame source could not deliver.
inline constexpr ErrorCode kFrameUnavailable = 20003;
/// No suite of that name and version.
inline constexpr ErrorCode kNoSuchSuite = 20004;
/// Something was given back that was not taken.
inline constexpr ErrorCode kNotTaken = 20005;
/// An unexpected failure inside the host.
inline constexpr ErrorCode kHostFailure = 20006;
} // namespace host_error

/// What a code means, as the end of a sentence, without the number.
std::string describeError(ErrorCode code);

} // namespace tintwell::host
