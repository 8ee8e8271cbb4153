#pragma once

#include "media/ffmpeg_objects.h"

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tintwell::media {

/// What an image file says beside its picture, and FFmpeg's encoders do not write: camera, place,
/// date, comments, resolution.
struct ImageNotes {
    using Bytes = std::vector<std::uint8_t>;

    /// Dots per metre.
    struct Resolution {
        std::uint32_t horizontal = 0; ///< 0: not known
        std::uint32_t vertical = 0;
    };

    Bytes exif; ///< from "II" or "MM" on
    Bytes xmp;
    std::vector<std::pair<std::string, std::string>> texts; ///< keyword, text in UTF-8
    std::vector<Bytes> jpegSegments;                        ///< others: marker and length included
    std::vector<Bytes> pngChunks; ///< others: length and checksum included
    Resolution resolution;
    Bytes header; ///< of DPX: all that is before the picture

    bool empty() const;

    /// What they are, in words: "EXIF (camera, date, place)", "XMP" and so on; without the header.
    std::vector<std::string> names() const;
};

/// Reads an image file. What is damaged in it is left out.
ImageNotes readImageNotes(AVCodecID codec, std::span<const std::uint8_t> file);

/// Whether files of the codec have a place for notes from files of the other.
bool takesNotes(AVCodecID to, AVCodecID from);

/// Puts the notes into an image file that an encoder has made; the file as it is where it is not
/// understood. `codec` is the file's, as takesNotes has it.
std::vector<std::uint8_t> withImageNotes(AVCodecID codec, std::span<const std::uint8_t> file,
                                         const ImageNotes& notes);

} // namespace tintwell::media
