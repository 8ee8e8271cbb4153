#pragma once

// The property list in a module file: what a host learns of an effect before it loads it. This is
// its format, for the one who writes it and the one who reads it.
//
// All numbers are little-endian, and four-character codes are 32-bit numbers whose most significant
// byte is the first character. The list begins with
//     16 bits kReserved, 32 bits kListVersion, 32 bits number of properties (kHeaderBytes in all),
// and the properties follow it, each
//     32 bits kVendor, 32 bits key, 32 bits kPropertyId, 32 bits length of the value, the value,
//     zero bytes up to a multiple of kAlignment bytes of value.

#include "module/interface/host_interface.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// Where the list stands in an ELF module, alone (a macro because attributes take literals only).
#define TINTWELL_PROPERTY_LIST_SECTION ".tintwell_pipl"

namespace tintwell::property_list {

/// Which resource the list is in a module for Windows.
inline constexpr char kResourceType[] = "PIPL";
inline constexpr std::uint32_t kResourceId = 16000;
inline constexpr std::uint32_t kResourceLanguage = 1033;

inline constexpr std::uint16_t kReserved = 1;
inline constexpr std::uint32_t kListVersion = 0;
inline constexpr char kVendor[] = "ZQVN";
inline constexpr std::uint32_t kPropertyId = 0;
inline constexpr std::size_t kHeaderBytes = 10;
inline constexpr std::size_t kAlignment = 4;

enum class ValueType : std::uint8_t {
    Kind,     ///< the four-character code kKindEffect
    Number16, ///< 16 bits
    Number32, ///< 32 bits
    Version,  ///< two 16-bit numbers, the major one first
    Text,     ///< a byte with the number of characters, the characters
    ZeroText, ///< a Text and one zero byte
    Symbol,   ///< kSymbolBytes: a name and at least one zero byte
};

inline constexpr std::size_t kSymbolBytes = 8;

/// The properties, in the order in which they stand.
enum class Property : std::uint8_t {
    Kind,
    Name,
    Category,
    EntryPoint,
    PropertyVersion,
    InterfaceVersion,
    EffectVersion,
    InfoFlags,
    OutFlags,
    OutFlags2,
    MatchName,
    HostFlags,
};

struct PropertyFormat {
    char key[5];
    ValueType type;
    const char* label; ///< for messages and listings
};

inline constexpr std::array<PropertyFormat, 12> kProperties = {{
    {"kind", ValueType::Kind, "kind"},
    {"name", ValueType::Text, "name"},
    {"catg", ValueType::Text, "category"},
    {"8664", ValueType::Symbol, "entry point"},
    {"ePVR", ValueType::Number32, "property version"},
    {"eSVR", ValueType::Version, "interface version"},
    {"eVER", ValueType::Number32, "effect version"},
    {"eINF", ValueType::Number16, "info flags"},
    {"eGLO", ValueType::Number32, "out flags"},
    {"eGL2", ValueType::Number32, "out flags 2"},
    {"eMNA", ValueType::ZeroText, "match name"},
    {"eFLG", ValueType::Number32, "host flags"},
}};

/// The kind of every module of this interface: an effect.
inline constexpr char kKindEffect[] = "eFKT";

} // namespace tintwell::property_list
