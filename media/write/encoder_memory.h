#pragma once

#include "media/color/frame_converter.h"
#include "media/ffmpeg_objects.h"

#include <cstdint>

namespace tintwell::media {

/// What an encoder is told so that it keeps to an amount of memory, and what it takes then.
/// Encoders hold pictures: those they look ahead at, those that others are predicted from, and
/// those that their threads work on. The estimates are told in docs/memory.md.
struct EncoderMemory {
    NamedValues settings;   ///< as FFmpeg names them, followed by what the user sets
    std::int64_t bytes = 0; ///< estimated, with the pictures that wait for the encoder

    /// As much of what makes the encoder fast and good as fits into so many bytes, and at least
    /// what it cannot do without. What the user sets, `wanted`, is left as it is.
    static EncoderMemory plan(const AVCodec& codec, const PictureFormat& pictures,
                              const NamedValues& wanted, std::int64_t bytes, int processors);
};

} // namespace tintwell::media
