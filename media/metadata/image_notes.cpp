#include "media/metadata/image_notes.h"

#include "media/metadata/image_formats.h"

#include <algorithm>
#include <iterator>

namespace tintwell::media {
namespace {

/// "the text 'Author'", "gamma".
std::string nameOfChunk(const ImageNotes::Bytes& chunk) {
    constexpr std::size_t kBegin = 8;
    const std::string all(chunk.begin() + 4, chunk.end());
    const std::string keyword = all.substr(kBegin - 4, all.find('\0') - (kBegin - 4));
    return all.starts_with("gAMA") ? "gamma" : "the text '" + keyword + "'";
}

bool isPhotograph(AVCodecID codec) {
    return codec == AV_CODEC_ID_MJPEG || codec == AV_CODEC_ID_PNG;
}

} // namespace

bool ImageNotes::empty() const {
    return exif.empty() && xmp.empty() && texts.empty() && jpegSegments.empty() &&
           pngChunks.empty() && resolution.horizontal == 0 && header.empty();
}

std::vector<std::string> ImageNotes::names() const {
    std::vector<std::string> names;
    const auto add = [&](bool there, const std::string& name) {
        if (there) {
            names.push_back(name);
        }
    };
    add(!exif.empty(), "EXIF (camera, date, place)");
    add(!xmp.empty(), "XMP");
    for (const auto& [keyword, text] : texts) {
        names.push_back("the text '" + keyword + "'");
    }
    add(!jpegSegments.empty(), "IPTC and other segments");
    std::ranges::transform(pngChunks, std::back_inserter(names), nameOfChunk);
    add(resolution.horizontal != 0, "resolution");
    return names;
}

ImageNotes readImageNotes(AVCodecID codec, ByteView file) {
    ImageNotes notes;
    switch (codec) {
    case AV_CODEC_ID_MJPEG:
        readJpegNotes(file, notes);
        break;
    case AV_CODEC_ID_PNG:
        readPngNotes(file, notes);
        break;
    case AV_CODEC_ID_DPX:
        readDpxNotes(file, notes);
        break;
    default:
        break;
    }
    return notes;
}

bool takesNotes(AVCodecID to, AVCodecID from) {
    return (isPhotograph(to) && isPhotograph(from)) || (to == from && to == AV_CODEC_ID_DPX);
}

std::vector<std::uint8_t> withImageNotes(AVCodecID codec, ByteView file, const ImageNotes& notes) {
    switch (codec) {
    case AV_CODEC_ID_MJPEG:
        return withJpegNotes(file, notes);
    case AV_CODEC_ID_PNG:
        return withPngNotes(file, notes);
    case AV_CODEC_ID_DPX:
        return withDpxNotes(file, notes);
    default:
        return {file.begin(), file.end()};
    }
}

} // namespace tintwell::media
