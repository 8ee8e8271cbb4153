#pragma once

#include "media/ffmpeg_objects.h"

#include <cstdint>

namespace tintwell::media {

/// How a decoder is spread over processors.
struct DecoderThreads {
    int count = 1;
    int type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    std::int64_t bytes = 0; ///< of the pictures that it holds, estimated
};

/// As many threads as are of use and fit into so many bytes. Each that decodes a picture of its own
/// holds it; where not even two of them fit, threads share a picture, as far as the stream lets
/// them.
DecoderThreads planDecoder(const AVCodec& codec, const AVCodecParameters& parameters,
                           std::int64_t bytes, int processors);

} // namespace tintwell::media
