#pragma once

#include "host/declaration/byte_view.h"
#include "module/interface/property_list.h"

#include <filesystem>
#include <string>
#include <variant>

namespace tintwell::declaration {

struct Version {
    std::uint16_t major;
    std::uint16_t minor;

    bool operator==(const Version&) const = default;
};

/// What a property says. Texts, symbols and the kind are a string of printable ASCII.
using Value = std::variant<std::uint32_t, Version, std::string>;

/// What a module tells about itself in its file.
struct Declaration {
    std::array<Value, property_list::kProperties.size()> values; ///< in the order of the list
    std::size_t offset; ///< bytes from the start of the file to the list
    std::size_t size;   ///< bytes of the list

    const Value& operator[](property_list::Property property) const {
        return values[static_cast<std::size_t>(property)];
    }
};

/// Reads a property list of exactly these bytes. Throws FormatError for whatever is not as
/// module/interface/property_list.h has it; values, apart from the kind, may be any.
Declaration readPropertyList(const ByteView& list);

/// The declaration could not be read; the text names the file, the reason and the byte.
class DeclarationError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Finds and reads the declaration in a module file, without loading it. Throws DeclarationError.
Declaration readDeclaration(const std::filesystem::path& module);

} // namespace tintwell::declaration
