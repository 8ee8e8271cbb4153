#include "media/metadata/image_formats.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <string_view>

extern "C" {
#include <libavutil/crc.h>
}

namespace tintwell::media {
namespace {

using namespace std::string_view_literals;
constexpr std::string_view kSignature = "\x89PNG\r\n\x1A\n"sv;
constexpr std::string_view kXmpKeyword = "XML:com.adobe.xmp"sv;
/// What a keyword of international text is followed by: not compressed, no language, no
/// translation.
constexpr std::string_view kPlain = "\0\0\0\0\0"sv;
constexpr std::size_t kAround = 12; ///< length, type and checksum

ByteView bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Called for every chunk with its type, its data and all of it. False where it is no PNG file.
bool walk(ByteView file, const std::function<void(const std::string&, ByteView, ByteView)>& visit) {
    if (!beginsWith(file, bytesOf(kSignature))) {
        return false;
    }
    std::size_t place = kSignature.size();
    while (place + kAround <= file.size()) {
        const std::size_t length = readBig(file, place, 4);
        if (length > file.size() - place - kAround) {
            break;
        }
        const auto type = file.subspan(place + 4, 4);
        visit({type.begin(), type.end()}, file.subspan(place + 8, length),
              file.subspan(place, length + kAround));
        place += length + kAround;
    }
    return true;
}

void appendChunk(std::vector<std::uint8_t>& file, std::string_view type, ByteView data) {
    appendBig(file, data.size(), 4);
    const std::size_t begin = file.size();
    append(file, bytesOf(type));
    append(file, data);
    const AVCRC* table = av_crc_get_table(AV_CRC_32_IEEE_LE);
    const std::uint32_t sum =
        av_crc(table, 0xFFFFFFFF, file.data() + begin, file.size() - begin) ^ 0xFFFFFFFF;
    appendBig(file, sum, 4);
}

void readText(ByteView data, ImageNotes& notes, ByteView whole) {
    const std::string all(data.begin(), data.end());
    const std::size_t end = all.find('\0');
    if (end == std::string::npos) {
        return;
    }
    const std::string keyword = all.substr(0, end);
    if (keyword == kXmpKeyword && all.compare(end, kPlain.size(), kPlain) == 0) {
        notes.xmp.assign(data.begin() + static_cast<std::ptrdiff_t>(end + kPlain.size()),
                         data.end());
    } else {
        notes.pngChunks.emplace_back(whole.begin(), whole.end());
    }
}

void readResolution(ByteView data, ImageNotes& notes) {
    constexpr std::size_t kLength = 9;
    constexpr int kMetres = 1;
    if (data.size() == kLength && data[kLength - 1] == kMetres) {
        notes.resolution = {static_cast<std::uint32_t>(readBig(data, 0, 4)),
                            static_cast<std::uint32_t>(readBig(data, 4, 4))};
    }
}

std::vector<std::uint8_t> resolutionData(const ImageNotes::Resolution& resolution) {
    std::vector<std::uint8_t> data;
    appendBig(data, resolution.horizontal, 4);
    appendBig(data, resolution.vertical, 4);
    data.push_back(1);
    return data;
}

/// What stands between the header and the picture.
std::vector<std::uint8_t> chunksOf(const ImageNotes& notes, bool hasGamma) {
    std::vector<std::uint8_t> chunks;
    if (notes.resolution.horizontal != 0) {
        appendChunk(chunks, "pHYs", resolutionData(notes.resolution));
    }
    for (const ImageNotes::Bytes& chunk : notes.pngChunks) {
        const bool isGamma = beginsWith(ByteView(chunk).subspan(4), bytesOf("gAMA"));
        if (!isGamma || !hasGamma) {
            append(chunks, chunk);
        }
    }
    if (!notes.exif.empty()) {
        appendChunk(chunks, "eXIf", notes.exif);
    }
    const auto appendText = [&](std::string_view keyword, ByteView text) {
        std::vector<std::uint8_t> data(keyword.begin(), keyword.end());
        append(data, bytesOf(kPlain));
        append(data, text);
        appendChunk(chunks, "iTXt", data);
    };
    if (!notes.xmp.empty()) {
        appendText(kXmpKeyword, notes.xmp);
    }
    for (const auto& [keyword, text] : notes.texts) {
        appendText(keyword, bytesOf(text));
    }
    return chunks;
}

} // namespace

void readPngNotes(ByteView file, ImageNotes& notes) {
    walk(file, [&](const std::string& type, ByteView data, ByteView whole) {
        if (type == "tEXt" || type == "zTXt" || type == "iTXt") {
            readText(data, notes, whole);
        } else if (type == "eXIf") {
            notes.exif.assign(data.begin(), data.end());
        } else if (type == "pHYs") {
            readResolution(data, notes);
        } else if (type == "gAMA") {
            notes.pngChunks.emplace_back(whole.begin(), whole.end());
        }
    });
}

std::vector<std::uint8_t> withPngNotes(ByteView file, const ImageNotes& notes) {
    std::vector<std::uint8_t> result(kSignature.begin(), kSignature.end());
    bool hasGamma = false;
    walk(file, [&](const std::string& type, ByteView, ByteView) {
        hasGamma = hasGamma || type == "gAMA" || type == "sRGB";
    });
    const bool known = walk(file, [&](const std::string& type, ByteView, ByteView whole) {
        if (type == "pHYs" && notes.resolution.horizontal != 0) {
            return; // the encoder's tells the shape of the pixels only
        }
        append(result, whole);
        if (type == "IHDR") {
            append(result, chunksOf(notes, hasGamma));
        }
    });
    return known ? result : std::vector<std::uint8_t>(file.begin(), file.end());
}

} // namespace tintwell::media
