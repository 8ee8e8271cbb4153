#pragma once

#include <cstdint>

// Who the effect is: stated once, reported at GlobalSetup and declared in the module file.

namespace tintwell::identity {

inline constexpr char kName[] = "Tintwell";
/// The host's packing of the effect's version, 1.0.
inline constexpr std::uint32_t kVersion = 0x80600;
inline constexpr int kMajorVersion = 1;
inline constexpr int kMinorVersion = 0;
inline constexpr std::uint32_t kOutFlags = 0x2000002;
inline constexpr std::uint32_t kOutFlags2 = 64;

} // namespace tintwell::identity
