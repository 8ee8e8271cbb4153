#pragma once

#include "media/clip_info.h"
#include "media/encoding/encoder_settings.h"
#include "media/ffmpeg_objects.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::media {

/// What the output is for, which decides where nothing else is said.
enum class Purpose : std::uint8_t {
    Same,    ///< as near to the source as the container allows
    Archive, ///< lossless: FFV1 with a checksum for every slice
    Edit,    ///< ProRes 422 HQ, or 4444 where the source has transparency or full colour resolution
    Web,     ///< H.264, or VP9 in WebM, 4:2:0 with 8 bits
};

struct EncoderOptions {
    std::string codec;       ///< encoder's or codec's name; empty: by the purpose
    std::string pixelFormat; ///< empty: by the purpose
    NamedValues options;     ///< of the encoder; what it does not know is offered to the container
    Purpose purpose = Purpose::Same;
    std::int64_t memory = 0; ///< bytes that it is to keep to; 0: half of usualMemory
};

/// The video that is to be encoded anew.
struct SourceVideo {
    const ClipInfo& info;
    const AVCodecParameters& parameters;
    const AVFrame& first; ///< what is said of the first frame; it need not have pixels
};

/// With what a clip's video is encoded.
struct EncodingPlan {
    const AVCodec* codec = nullptr;
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;
    std::vector<EncoderSettings> settings; ///< the first that the encoder accepts; never empty
    std::uint32_t tag = 0;                 ///< by which the container knows the codec; 0: its own
    bool asFields = false;                 ///< the encoder is to keep the fields apart
    bool isLossless = false;               ///< whether every sample comes back as it was encoded
    std::vector<std::string> losses;       ///< what the output cannot keep, as sentences' ends
};

/// `url` tells the codec of images by its extension, `output` is the target's name in messages.
/// Throws MediaError with what to change where there is no such encoding.
EncodingPlan planEncoding(const SourceVideo& source, const AVOutputFormat& container,
                          const std::string& url, const std::string& output,
                          const EncoderOptions& wanted);

} // namespace tintwell::media
