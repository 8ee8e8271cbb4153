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

// What follows is only declared: the host reads it from the module file before it loads it.

/// Names to show, as key strings: the host resolves them to the text after the equals sign.
inline constexpr char kNameKeyString[] = "$$$/QX/Effect/Name/Tintwell=Tintwell";
inline constexpr char kCategoryKeyString[] =
    "$$$/QX/Effect/Category/ColorCorrection=Color Correction";
/// By this name saved projects know the effect: it never changes.
inline constexpr char kMatchName[] = "ZQVN Tintwell";
inline constexpr char kEntryPoint[] = "main";
inline constexpr std::uint32_t kPropertyVersion = 2;
/// The version of the effect interface that the module was written for: 13.2.
inline constexpr std::uint16_t kInterfaceMajorVersion = 13;
inline constexpr std::uint16_t kInterfaceMinorVersion = 2;
inline constexpr std::uint16_t kInfoFlags = 0;
inline constexpr std::uint32_t kHostFlags = 0;

} // namespace tintwell::identity
