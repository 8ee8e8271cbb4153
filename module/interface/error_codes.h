#pragma once

#include <cstdint>

namespace tintwell {

/// Signed 32-bit result of every command, callback and suite function; 0 is success. Codes that a
/// host makes up itself travel through the module unchanged.
using ErrorCode = std::int32_t;

namespace error {
inline constexpr ErrorCode kNone = 0;
/// Memory could not be had, or a frame store was asked for a depth it does not support.
inline constexpr ErrorCode kOutOfMemory = 4;
/// A record, handle, suite, callback, buffer or pixel data is missing where it is needed.
inline constexpr ErrorCode kMissingRecord = 512;
/// From the host's state query; tolerated when a sequence is set up again.
inline constexpr ErrorCode kStateUnavailable = 515;
/// From the host: the user interrupted the render. Passed on without an error message.
inline constexpr ErrorCode kInterrupted = 517;
/// The host offers no suite provider.
inline constexpr ErrorCode kNoSuiteProvider = 10000;
/// A keyframe query found nothing. Never reported as an error.
inline constexpr ErrorCode kNothingFound = 10001;
/// Pixels in an order other than A,R,G,B and B,G,R,A.
inline constexpr ErrorCode kUnsupportedChannelOrder = 10002;
/// Samples of a depth other than 8 and 16 bits.
inline constexpr ErrorCode kUnsupportedBitDepth = 10003;
} // namespace error

} // namespace tintwell
