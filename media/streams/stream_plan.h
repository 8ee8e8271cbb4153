#pragma once

#include "media/ffmpeg_objects.h"
#include "media/stream_wishes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::media {

/// What becomes of one stream of the source.
struct PlannedStream {
    enum class Fate : std::uint8_t {
        Correct,  ///< the video that is encoded anew
        Copy,     ///< packet by packet
        Convert,  ///< decoded and encoded
        Attach,   ///< as a file in the container
        Replace,  ///< made anew from what is known of the clip: chapter titles, timecodes
        LeaveOut, ///< as it was asked for, or as there is no way
    };

    int index = 0; ///< in the source
    Fate fate = Fate::Copy;
    const AVCodec* encoder = nullptr; ///< of Convert
    std::string reason;               ///< of what is not as the source has it
    bool asked = false;               ///< for that; otherwise somebody should hear of it
    bool loses = false;               ///< what it says, in part
};

/// Decides for every stream of the source, in their order. `name` is what messages call the output.
/// Throws MediaError where a wish cannot be fulfilled.
std::vector<PlannedStream> planStreams(const AVFormatContext& source, const AVStream& video,
                                       const AVOutputFormat& container, const StreamWishes& wishes,
                                       const std::string& name);

/// A sentence part for what is not as the source has it: "audio stream 1 (opus) is converted to
/// aac, as ...". Empty where there is nothing to tell.
std::string tell(const PlannedStream& stream, const AVFormatContext& source);

/// "copy", "convert", and so on.
const char* nameOf(PlannedStream::Fate fate);

} // namespace tintwell::media
