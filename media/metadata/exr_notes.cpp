#include "media/metadata/image_formats.h"

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace tintwell::media {
namespace {

constexpr std::array<std::uint8_t, 4> kMagic{0x76, 0x2F, 0x31, 0x01};
constexpr std::size_t kVersionFlags = 5; ///< where they stand
constexpr std::uint8_t kLongNames = 0x04;
constexpr std::size_t kShortName = 31;
constexpr std::size_t kBegin = 8;

/// Those that say how the picture is stored, or which of several it is.
constexpr std::array<std::string_view, 14> kStructure{"channels",
                                                      "compression",
                                                      "dataWindow",
                                                      "displayWindow",
                                                      "lineOrder",
                                                      "pixelAspectRatio",
                                                      "screenWindowCenter",
                                                      "screenWindowWidth",
                                                      "tiles",
                                                      "type",
                                                      "name",
                                                      "view",
                                                      "chunkCount",
                                                      "version"};

/// Called for every attribute with its name and all of it. Gives the place of the header's end, or
/// 0 where it is none.
std::size_t walk(ByteView file, const std::function<void(const std::string&, ByteView)>& visit) {
    if (!beginsWith(file, kMagic)) {
        return 0;
    }
    std::size_t place = kBegin;
    while (place < file.size() && file[place] != 0) {
        std::size_t end = place;
        for (int strings = 0; strings < 2 && end < file.size(); ++end) { // name and type
            strings += file[end] == 0 ? 1 : 0;
        }
        if (end + 4 > file.size()) {
            return 0;
        }
        const std::size_t length = readLittle(file, end, 4);
        if (length > file.size() - end - 4) {
            return 0;
        }
        const auto name = reinterpret_cast<const char*>(file.data() + place);
        visit(name, file.subspan(place, end + 4 + length - place));
        place = end + 4 + length;
    }
    return place < file.size() ? place : 0;
}

} // namespace

void readExrNotes(ByteView file, ImageNotes& notes) {
    ImageNotes::Bytes attributes(
        file.begin(), file.begin() + static_cast<std::ptrdiff_t>(std::min(kBegin, file.size())));
    bool any = false;
    walk(file, [&](const std::string& name, ByteView whole) {
        if (std::ranges::find(kStructure, name) == kStructure.end()) {
            append(attributes, whole);
            any = true;
        }
    });
    if (any) {
        attributes.push_back(0);
        notes.header = std::move(attributes);
    }
}

std::vector<std::uint8_t> withExrNotes(ByteView file, const ImageNotes& notes) {
    std::vector<std::uint8_t> result(file.begin(), file.end());
    std::set<std::string> written;
    const std::size_t end =
        walk(file, [&](const std::string& name, ByteView) { written.insert(name); });
    std::vector<std::uint8_t> added;
    bool longNames = false;
    walk(notes.header, [&](const std::string& name, ByteView whole) {
        if (!written.contains(name)) {
            append(added, whole);
            longNames = longNames || name.size() > kShortName;
        }
    });
    constexpr std::size_t kOffset = 8;
    if (end == 0 || end + 1 + kOffset > file.size()) {
        return result;
    }
    // A table of where the picture's parts lie follows, up to the first of them.
    const std::size_t table = end + 1;
    const std::uint64_t tableEnd = readLittle(file, table, kOffset);
    if (tableEnd < table || tableEnd > file.size() || (tableEnd - table) % kOffset != 0) {
        return result;
    }
    for (std::size_t place = table; place < tableEnd; place += kOffset) {
        const std::uint64_t moved = readLittle(file, place, kOffset) + added.size();
        for (std::size_t i = 0; i < kOffset; ++i) {
            result[place + i] = static_cast<std::uint8_t>(moved >> (8 * i));
        }
    }
    if (longNames) {
        result[kVersionFlags] |= kLongNames;
    }
    result.insert(result.begin() + static_cast<std::ptrdiff_t>(end), added.begin(), added.end());
    return result;
}

} // namespace tintwell::media
