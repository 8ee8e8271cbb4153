#pragma once

// The effect's declaration: its property list, made by the compiler from the effect's identity.

#include "module/effect/identity.h"
#include "module/interface/property_list.h"

#include <algorithm>
#include <string_view>

namespace tintwell {
namespace declaration_bytes {

using property_list::Property;

/// Bytes in a row, as many as a list can need: running over does not compile.
struct Bytes {
    std::array<std::uint8_t, 1024> data{};
    std::size_t size = 0;

    constexpr void add(std::uint8_t byte) { data[size++] = byte; }

    constexpr void add(const Bytes& bytes) {
        for (std::size_t i = 0; i < bytes.size; ++i) {
            add(bytes.data[i]);
        }
    }

    constexpr void add(std::string_view characters) {
        for (const char character : characters) {
            add(static_cast<std::uint8_t>(character));
        }
    }

    constexpr void padToMultipleOf(std::size_t unit) {
        while (size % unit != 0) {
            add(std::uint8_t{0});
        }
    }
};

template <class... Numbers>
constexpr Bytes numbers(Numbers... values) {
    Bytes bytes;
    const auto addNumber = [&bytes](auto number) {
        for (std::size_t i = 0; i < sizeof(number); ++i) {
            bytes.add(static_cast<std::uint8_t>(number >> (8 * i)));
        }
    };
    (addNumber(values), ...);
    return bytes;
}

constexpr Bytes text(std::string_view characters) {
    if (characters.size() > 255) {
        throw "a text of the declaration is longer than its length byte can say";
    }
    Bytes bytes = numbers(static_cast<std::uint8_t>(characters.size()));
    bytes.add(characters);
    return bytes;
}

constexpr Bytes zeroText(std::string_view characters) {
    Bytes bytes = text(characters);
    bytes.add(std::uint8_t{0});
    return bytes;
}

constexpr Bytes symbol(std::string_view characters) {
    if (characters.empty() || characters.size() >= property_list::kSymbolBytes) {
        throw "the entry point's name is too long for its field";
    }
    Bytes bytes;
    bytes.add(characters);
    bytes.padToMultipleOf(property_list::kSymbolBytes);
    return bytes;
}

constexpr Bytes valueOf(Property property) {
    switch (property) {
    case Property::Kind:
        return numbers(fourCharCode(property_list::kKindEffect));
    case Property::Name:
        return text(identity::kNameKeyString);
    case Property::Category:
        return text(identity::kCategoryKeyString);
    case Property::EntryPoint:
        return symbol(identity::kEntryPoint);
    case Property::PropertyVersion:
        return numbers(identity::kPropertyVersion);
    case Property::InterfaceVersion:
        return numbers(identity::kInterfaceMajorVersion, identity::kInterfaceMinorVersion);
    case Property::EffectVersion:
        return numbers(identity::kVersion);
    case Property::InfoFlags:
        return numbers(identity::kInfoFlags);
    case Property::OutFlags:
        return numbers(identity::kOutFlags);
    case Property::OutFlags2:
        return numbers(identity::kOutFlags2);
    case Property::MatchName:
        return zeroText(identity::kMatchName);
    case Property::HostFlags:
        return numbers(identity::kHostFlags);
    }
    throw "a property without a value";
}

constexpr Bytes propertyList() {
    using property_list::kProperties;
    Bytes list = numbers(property_list::kReserved, property_list::kListVersion,
                         static_cast<std::uint32_t>(kProperties.size()));
    for (std::size_t i = 0; i < kProperties.size(); ++i) {
        Bytes value = valueOf(static_cast<Property>(i));
        list.add(numbers(fourCharCode(property_list::kVendor), fourCharCode(kProperties[i].key),
                         property_list::kPropertyId, static_cast<std::uint32_t>(value.size)));
        value.padToMultipleOf(property_list::kAlignment);
        list.add(value);
    }
    return list;
}

} // namespace declaration_bytes

/// The property list, byte for byte as it stands in the module file.
inline constexpr auto kDeclaration = [] {
    constexpr declaration_bytes::Bytes kBytes = declaration_bytes::propertyList();
    std::array<std::uint8_t, kBytes.size> declaration{};
    std::copy_n(kBytes.data.begin(), declaration.size(), declaration.begin());
    return declaration;
}();

} // namespace tintwell
