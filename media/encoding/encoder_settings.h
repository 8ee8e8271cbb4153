#pragma once

#include "media/clip_info.h"
#include "media/ffmpeg_objects.h"

#include <string>
#include <vector>

namespace tintwell::media {

/// How an encoder is set where the user says nothing, so that nobody sees what it does.
struct EncoderSettings {
    NamedValues options;
    std::string rate;  ///< for people: "crf 17", "ProRes 422 HQ", "lossless"
    int quantiser = 0; ///< of the older encoders, 1 the best and 31 the worst; 0: they have none
    int profile = FF_PROFILE_UNKNOWN; ///< for the container, where FFmpeg does not tell it
};

/// In the order in which they are to be tried: the encoder may refuse all but the last. Never
/// empty. `parameters` are the source's, `format` what is encoded. Of a rate that the user sets
/// himself, nothing is said.
std::vector<EncoderSettings> settingsFor(const AVCodec& codec, const ClipInfo& source,
                                         const AVCodecParameters& parameters, AVPixelFormat format,
                                         const NamedValues& users);

} // namespace tintwell::media
