#include "host/declaration/elf_file.h"

#include "module/interface/property_list.h"

#include <optional>

namespace tintwell::declaration {
namespace {

constexpr std::size_t kSectionHeaderBytes = 64;
constexpr std::uint32_t kSectionWithData = 1;

/// One header of the section table.
class Section {
public:
    explicit Section(const ByteView& header) : header_(header) {}

    std::uint32_t nameOffset() const { return header_.number32(0, "a section's name"); }

    std::uint32_t type() const { return header_.number32(4, "a section's type"); }

    ByteView content(const ByteView& file) const {
        return file.part(header_.number64(24, "a section's offset"),
                         header_.number64(32, "a section's size"), "a section");
    }

private:
    ByteView header_;
};

class SectionTable {
public:
    explicit SectionTable(const ByteView& file) : table_(tableOf(file)) {}

    std::size_t count() const { return table_.size() / kSectionHeaderBytes; }

    Section operator[](std::size_t index) const {
        return Section(table_.part(index * kSectionHeaderBytes, kSectionHeaderBytes,
                                   "a header of the section table"));
    }

private:
    static ByteView tableOf(const ByteView& file) {
        const std::uint64_t offset = file.number64(40, "the ELF header");
        const std::uint16_t headerBytes = file.number16(58, "the ELF header");
        const std::uint16_t count = file.number16(60, "the ELF header");
        if (offset == 0 || count == 0) {
            throw FormatError(40, "the file has no section table, so no declaration in a section");
        }
        if (headerBytes != kSectionHeaderBytes) {
            throw FormatError(58, "the section headers are not of 64 bytes");
        }
        return file.part(offset, std::uint64_t{count} * kSectionHeaderBytes, "the section table");
    }

    ByteView table_;
};

/// Whether a zero-terminated name stands at `offset`.
bool isNamed(const ByteView& names, std::uint32_t offset, std::string_view name) {
    return offset < names.size() &&
           names.characters().substr(offset, name.size() + 1) == std::string(name) + '\0';
}

} // namespace

bool isElf(const ByteView& file) {
    return file.characters().starts_with("\x7f"
                                         "ELF");
}

ByteView findSectionInElf(const ByteView& file) {
    constexpr std::uint8_t k64Bits = 2;
    constexpr std::uint8_t kLittleEndian = 1;
    if (file.number8(4, "the ELF header") != k64Bits ||
        file.number8(5, "the ELF header") != kLittleEndian) {
        throw FormatError(4, "the module is not for 64 bits and little-endian numbers");
    }
    const SectionTable sections(file);
    const std::uint16_t namesIndex = file.number16(62, "the ELF header");
    if (namesIndex >= sections.count()) {
        throw FormatError(62, "the section with the names does not exist");
    }
    const ByteView names = sections[namesIndex].content(file);
    std::optional<ByteView> found;
    for (std::size_t i = 0; i < sections.count(); ++i) {
        const Section section = sections[i];
        if (isNamed(names, section.nameOffset(), TINTWELL_PROPERTY_LIST_SECTION) &&
            section.type() == kSectionWithData) {
            const ByteView content = section.content(file);
            if (found) {
                throw FormatError(content.place(0), "there is a second declaration");
            }
            found = content;
        }
    }
    if (!found) {
        throw FormatError(0, "there is no section " TINTWELL_PROPERTY_LIST_SECTION
                             ": this is no effect module, or it was stripped of its declaration");
    }
    return *found;
}

} // namespace tintwell::declaration
