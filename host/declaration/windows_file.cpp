#include "host/declaration/windows_file.h"

#include "module/interface/property_list.h"

#include <optional>

namespace tintwell::declaration {
namespace {

/// The headers behind the signature: the common one, the optional one and the section table.
class Headers {
public:
    explicit Headers(const ByteView& file) : file_(file) {
        const std::uint32_t signature = file.number32(60, "the header");
        if (file.part(signature, 4, "the signature").characters() !=
            std::string_view("PE\0\0", 4)) {
            throw FormatError(signature, "the signature of a Windows program is missing");
        }
        common_ = std::uint64_t{signature} + 4;
        constexpr std::uint16_t kFor64Bits = 0x20b;
        if (file.number16(optional(), "the optional header") != kFor64Bits) {
            throw FormatError(file.place(optional()), "the module is not for 64 bits");
        }
    }

    /// The resource directory, up to the end of its section.
    ByteView resources() const {
        constexpr std::uint32_t kIndexOfResources = 2;
        const std::uint64_t count = optional() + 108;
        const std::uint64_t entry = count + 4 + std::uint64_t{8} * kIndexOfResources;
        const bool hasEntry = file_.number32(count, "the optional header") > kIndexOfResources;
        const std::uint32_t address = hasEntry ? file_.number32(entry, "the optional header") : 0;
        if (address == 0) {
            throw FormatError(file_.place(hasEntry ? entry : count), "the module has no resources");
        }
        return fromAddress(address);
    }

    /// From the byte that will be at this address, relative to the module's, to its section's end.
    ByteView fromAddress(std::uint32_t address) const {
        constexpr std::uint64_t kSectionHeaderBytes = 40;
        const std::uint16_t count = file_.number16(common_ + 2, "the header");
        const ByteView table = file_.part(optional() + file_.number16(common_ + 16, "the header"),
                                          count * kSectionHeaderBytes, "the section table");
        for (std::uint64_t i = 0; i < count; ++i) {
            const ByteView header =
                table.part(i * kSectionHeaderBytes, kSectionHeaderBytes, "a section's header");
            const std::uint32_t first = header.number32(12, "a section's address");
            const std::uint32_t size = header.number32(16, "a section's size");
            if (address >= first && address - first < size) {
                return file_.part(std::uint64_t{header.number32(20, "a section's offset")} +
                                      (address - first),
                                  size - (address - first), "a section");
            }
        }
        throw FormatError(table.place(0), "no section holds address " + std::to_string(address) +
                                              " of the resources");
    }

private:
    std::uint64_t optional() const { return common_ + 20; }

    ByteView file_;
    std::uint64_t common_ = 0;
};

/// One directory of the tree of resources: by type, then by id, then by language.
class Directory {
public:
    Directory(const ByteView& resources, std::uint64_t offset)
        : resources_(resources), entries_(entriesOf(resources, offset)) {}

    /// Where the first entry that `matches` leads; the argument is the entry's name or id.
    template <class Matches>
    std::optional<std::uint32_t> find(Matches matches) const {
        for (std::uint64_t i = 0; i < entries_.size(); i += kEntryBytes) {
            if (matches(entries_.number32(i, kWhat))) {
                return entries_.number32(i + 4, kWhat);
            }
        }
        return std::nullopt;
    }

private:
    static constexpr std::uint64_t kEntryBytes = 8;
    static constexpr std::string_view kWhat = "a resource directory";

    static ByteView entriesOf(const ByteView& resources, std::uint64_t offset) {
        const std::uint64_t named = resources.number16(offset + 12, kWhat);
        const std::uint64_t numbered = resources.number16(offset + 14, kWhat);
        return resources.part(offset + 16, (named + numbered) * kEntryBytes, kWhat);
    }

    ByteView resources_;
    ByteView entries_;
};

/// The highest bit of an entry's name says that the name is a text, of its target that the target
/// is a directory; the others are an offset in the resources then.
constexpr std::uint32_t kHighBit = 0x80000000U;

bool isText(const ByteView& resources, std::uint32_t name, std::string_view text) {
    if ((name & kHighBit) == 0) {
        return false;
    }
    const std::uint64_t offset = name & ~kHighBit;
    if (resources.number16(offset, "a resource's name") != text.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (resources.number16(offset + 2 + 2 * i, "a resource's name") !=
            static_cast<unsigned char>(text[i])) {
            return false;
        }
    }
    return true;
}

} // namespace

bool isWindowsProgram(const ByteView& file) {
    return file.characters().starts_with("MZ");
}

ByteView findResourceInWindowsProgram(const ByteView& file) {
    const Headers headers(file);
    const ByteView resources = headers.resources();
    const auto isType = [&](std::uint32_t name) {
        return isText(resources, name, property_list::kResourceType);
    };
    const auto isNumber = [](std::uint32_t number) {
        return [number](std::uint32_t name) { return name == number; };
    };
    const auto require = [&](std::optional<std::uint32_t> target, bool directory) {
        if (!target || ((*target & kHighBit) != 0) != directory) {
            throw FormatError(resources.place(0),
                              std::string("there is no resource ") + property_list::kResourceType +
                                  " " + std::to_string(property_list::kResourceId) +
                                  " in language " +
                                  std::to_string(property_list::kResourceLanguage) +
                                  ": this is no effect module, or it was stripped of its "
                                  "declaration");
        }
        return *target & ~kHighBit;
    };
    const std::uint32_t type = require(Directory(resources, 0).find(isType), true);
    const std::uint32_t id =
        require(Directory(resources, type).find(isNumber(property_list::kResourceId)), true);
    const std::uint32_t data =
        require(Directory(resources, id).find(isNumber(property_list::kResourceLanguage)), false);
    const std::uint32_t address = resources.number32(data, "a resource");
    const std::uint32_t size = resources.number32(std::uint64_t{data} + 4, "a resource");
    return headers.fromAddress(address).part(0, size, "the declaration");
}

} // namespace tintwell::declaration
