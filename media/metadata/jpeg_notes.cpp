#include "media/metadata/image_formats.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>

namespace tintwell::media {
namespace {

constexpr std::uint8_t kStartOfImage = 0xD8;
constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kApp0 = 0xE0;
constexpr std::uint8_t kApp1 = 0xE1;
constexpr std::uint8_t kApp2 = 0xE2;
constexpr std::uint8_t kApp13 = 0xED;
constexpr std::uint8_t kComment = 0xFE;
/// A segment's length counts itself.
constexpr std::size_t kLargestPayload = 0xFFFF - 2;

using namespace std::string_view_literals;
constexpr std::string_view kExif = "Exif\0\0"sv;
constexpr std::string_view kXmp = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view kJfif = "JFIF\0"sv;
constexpr std::size_t kJfifLength = 14;

ByteView bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Called for every segment before the picture with its marker, place and payload. Gives the place
/// behind the last one.
std::size_t walk(ByteView file,
                 const std::function<void(std::uint8_t, std::size_t, ByteView)>& visit) {
    constexpr std::size_t kMarkerAndLength = 4;
    std::size_t place = 2;
    if (file.size() < place || file[0] != 0xFF || file[1] != kStartOfImage) {
        return 0;
    }
    while (place + kMarkerAndLength <= file.size() && file[place] == 0xFF) {
        const std::uint8_t marker = file[place + 1];
        const std::size_t length = readBig(file, place + 2, 2);
        if (marker == kStartOfScan || length < 2 || place + 2 + length > file.size()) {
            break;
        }
        visit(marker, place, file.subspan(place + kMarkerAndLength, length - 2));
        place += 2 + length;
    }
    return place;
}

ImageNotes::Resolution resolutionIn(ByteView jfif) {
    constexpr std::size_t kUnit = 7;
    const int unit = jfif[kUnit];
    const auto perMetre = [&](std::size_t place) {
        const auto value = static_cast<double>(readBig(jfif, place, 2));
        return static_cast<std::uint32_t>(unit == 1   ? value / 0.0254 + 0.5
                                          : unit == 2 ? value * 100.0
                                                      : 0.0);
    };
    return {perMetre(kUnit + 1), perMetre(kUnit + 3)};
}

void appendSegment(std::vector<std::uint8_t>& file, std::uint8_t marker, ByteView start,
                   ByteView rest) {
    if (start.size() + rest.size() > kLargestPayload) {
        return;
    }
    file.push_back(0xFF);
    file.push_back(marker);
    appendBig(file, start.size() + rest.size() + 2, 2);
    append(file, start);
    append(file, rest);
}

/// The encoder's first segment with the notes' resolution, in dots per inch where that is exact.
void setResolution(std::vector<std::uint8_t>& file, std::size_t payload,
                   const ImageNotes::Resolution& resolution) {
    const auto perInch = [](std::uint32_t metre) { return metre * 0.0254 + 0.5; };
    constexpr double kGreatest = 0xFFFF;
    if (resolution.horizontal == 0 || perInch(resolution.horizontal) > kGreatest ||
        perInch(resolution.vertical) > kGreatest) {
        return;
    }
    constexpr std::size_t kUnit = 7;
    std::vector<std::uint8_t> bytes{1};
    appendBig(bytes, static_cast<std::uint64_t>(perInch(resolution.horizontal)), 2);
    appendBig(bytes, static_cast<std::uint64_t>(perInch(resolution.vertical)), 2);
    std::ranges::copy(bytes, file.begin() + static_cast<std::ptrdiff_t>(payload + kUnit));
}

} // namespace

void readJpegNotes(ByteView file, ImageNotes& notes) {
    walk(file, [&](std::uint8_t marker, std::size_t place, ByteView payload) {
        const auto has = [&](std::uint8_t wanted, std::string_view start) {
            return marker == wanted && beginsWith(payload, bytesOf(start));
        };
        const auto behind = [&](std::string_view start) {
            return ImageNotes::Bytes(payload.begin() + static_cast<std::ptrdiff_t>(start.size()),
                                     payload.end());
        };
        if (has(kApp0, kJfif) && payload.size() >= kJfifLength) {
            notes.resolution = resolutionIn(payload);
        } else if (has(kApp1, kExif)) {
            notes.exif = behind(kExif);
        } else if (has(kApp1, kXmp)) {
            notes.xmp = behind(kXmp);
        } else if (marker == kComment && !beginsWith(payload, bytesOf("Lavc"))) { // an encoder's
            notes.texts.emplace_back("Comment", std::string(payload.begin(), payload.end()));
        } else if (marker == kApp1 || marker == kApp2 || marker == kApp13) {
            const ByteView whole = file.subspan(place, payload.size() + 4);
            notes.jpegSegments.emplace_back(whole.begin(), whole.end());
        }
    });
}

std::vector<std::uint8_t> withJpegNotes(ByteView file, const ImageNotes& notes) {
    std::vector<std::uint8_t> result{0xFF, kStartOfImage};
    std::vector<std::uint8_t> rest;
    const std::size_t end =
        walk(file, [&](std::uint8_t marker, std::size_t place, ByteView payload) {
            const ByteView segment = file.subspan(place, payload.size() + 4);
            if (marker == kApp0 && payload.size() >= kJfifLength) {
                append(result, segment);
                setResolution(result, result.size() - payload.size(), notes.resolution);
            } else if (marker != kComment) { // the encoder's name
                append(rest, segment);
            }
        });
    if (end == 0) {
        return {file.begin(), file.end()};
    }
    if (!notes.exif.empty()) {
        appendSegment(result, kApp1, bytesOf(kExif), notes.exif);
    }
    if (!notes.xmp.empty()) {
        appendSegment(result, kApp1, bytesOf(kXmp), notes.xmp);
    }
    for (const ImageNotes::Bytes& segment : notes.jpegSegments) {
        append(result, segment);
    }
    for (const auto& [keyword, text] : notes.texts) {
        const std::string comment = keyword == "Comment" ? text : keyword + ": " + text;
        appendSegment(result, kComment, {}, bytesOf(comment));
    }
    append(result, rest);
    append(result, file.subspan(end));
    return result;
}

} // namespace tintwell::media
