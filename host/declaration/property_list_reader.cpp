// Reads a property list strictly: a host that skips what it does not understand would show an
// effect with half its properties, so whatever departs from the format is an error here.

#include "host/declaration/declaration.h"

#include <algorithm>

namespace tintwell::declaration {
namespace {

using property_list::PropertyFormat;
using property_list::ValueType;

std::string quoted(std::uint32_t code) {
    std::string text = "'";
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto character = static_cast<char>(code >> static_cast<unsigned>(shift) & 0xffU);
        text += character >= ' ' && character <= '~' ? character : '?';
    }
    return text + "'";
}

std::string nameOf(const PropertyFormat& format) {
    return std::string("property '") + format.key + "' (" + format.label + ")";
}

/// Walks through the list from its first byte to its last.
class ListReader {
public:
    explicit ListReader(const ByteView& list) : list_(list) {}

    void expect16(std::uint16_t expected, const std::string& what) {
        expect(list_.number16(position_, what), expected, what);
        position_ += 2;
    }

    void expect32(std::uint32_t expected, const std::string& what) {
        expect(list_.number32(position_, what), expected, what);
        position_ += 4;
    }

    void expectCode(const char (&code)[5], const std::string& what) {
        const std::uint32_t found = list_.number32(position_, what);
        if (found != fourCharCode(code)) {
            fail(what + " is " + quoted(found) + " where '" + code + "' is due");
        }
        position_ += 4;
    }

    /// A value behind its length, and the zero bytes behind it.
    ByteView value(const std::string& what) {
        const std::uint32_t size = list_.number32(position_, "the length of " + what);
        position_ += 4;
        const ByteView bytes = list_.part(position_, size, "the value of " + what);
        position_ += size;
        for (; (position_ - property_list::kHeaderBytes) % property_list::kAlignment != 0;
             ++position_) {
            if (list_.number8(position_, "the padding of " + what) != 0) {
                fail("the padding of " + what + " is not zero");
            }
        }
        return bytes;
    }

    void expectEnd() const {
        if (position_ != list_.size()) {
            fail(std::to_string(list_.size() - position_) + " bytes follow the last property");
        }
    }

private:
    void expect(std::uint32_t found, std::uint32_t expected, const std::string& what) const {
        if (found != expected) {
            fail(what + " is " + std::to_string(found) + " where " + std::to_string(expected) +
                 " is due");
        }
    }

    [[noreturn]] void fail(const std::string& message) const {
        throw FormatError(list_.place(position_), message);
    }

    ByteView list_;
    std::size_t position_ = 0;
};

std::string printable(const ByteView& bytes, const std::string& what) {
    const std::string_view text = bytes.characters();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] < ' ' || text[i] > '~') {
            throw FormatError(bytes.place(i),
                              what + " holds a byte that is no printable character");
        }
    }
    return std::string(text);
}

void expectLength(const ByteView& value, std::size_t expected, const std::string& what) {
    if (value.size() != expected) {
        throw FormatError(value.place(0), what + " is of " + std::to_string(value.size()) +
                                              " bytes where " + std::to_string(expected) +
                                              " are due");
    }
}

/// A length byte, as many characters, and `zeros` zero bytes; nothing else.
std::string textOf(const ByteView& value, std::size_t zeros, const std::string& what) {
    if (value.size() == 0) {
        throw FormatError(value.place(0), what + " is empty, without a length byte");
    }
    const std::size_t length = value.number8(0, what);
    expectLength(value, 1 + length + zeros, what + ", for its length byte,");
    for (std::size_t i = 1 + length; i < value.size(); ++i) {
        if (value.number8(i, what) != 0) {
            throw FormatError(value.place(i), what + " does not end in a zero byte");
        }
    }
    return printable(value.part(1, length, what), what);
}

std::string symbolOf(const ByteView& value, const std::string& what) {
    expectLength(value, property_list::kSymbolBytes, what);
    const std::string_view field = value.characters();
    const std::size_t length = std::min(field.find('\0'), field.size());
    if (length == 0 || length == field.size()) {
        throw FormatError(value.place(length), what + " is not a name and a zero byte");
    }
    const std::size_t stray = field.find_first_not_of('\0', length);
    if (stray != std::string_view::npos) {
        throw FormatError(value.place(stray), what + " goes on after its zero byte");
    }
    return printable(value.part(0, length, what), what);
}

std::string kindOf(const ByteView& value, const std::string& what) {
    expectLength(value, 4, what);
    const std::uint32_t code = value.number32(0, what);
    if (code != fourCharCode(property_list::kKindEffect)) {
        throw FormatError(value.place(0), what + " is " + quoted(code) + " and no effect");
    }
    return property_list::kKindEffect;
}

Value valueOf(const ByteView& value, ValueType type, const std::string& what) {
    switch (type) {
    case ValueType::Kind:
        return kindOf(value, what);
    case ValueType::Number16:
        expectLength(value, 2, what);
        return std::uint32_t{value.number16(0, what)};
    case ValueType::Number32:
        expectLength(value, 4, what);
        return value.number32(0, what);
    case ValueType::Version:
        expectLength(value, 4, what);
        return Version{value.number16(0, what), value.number16(2, what)};
    case ValueType::Text:
        return textOf(value, 0, what);
    case ValueType::ZeroText:
        return textOf(value, 1, what);
    case ValueType::Symbol:
        return symbolOf(value, what);
    }
    throw std::logic_error("a property of unknown type");
}

} // namespace

Declaration readPropertyList(const ByteView& list) {
    using property_list::kProperties;
    ListReader reader(list);
    reader.expect16(property_list::kReserved, "the reserved number");
    reader.expect32(property_list::kListVersion, "the list's version");
    reader.expect32(kProperties.size(), "the number of properties");
    Declaration declaration{{}, list.place(0), list.size()};
    for (std::size_t i = 0; i < kProperties.size(); ++i) {
        const std::string what = nameOf(kProperties[i]);
        reader.expectCode(property_list::kVendor, "the vendor of " + what);
        reader.expectCode(kProperties[i].key, "the key of " + what);
        reader.expect32(property_list::kPropertyId, "the id of " + what);
        declaration.values[i] = valueOf(reader.value(what), kProperties[i].type, what);
    }
    reader.expectEnd();
    return declaration;
}

} // namespace tintwell::declaration
