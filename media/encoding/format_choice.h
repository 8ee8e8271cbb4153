#pragma once

#include "media/encoding/encoding_plan.h"

namespace tintwell::media {

/// The pixel format that the encoder takes which loses least of the one given; AV_PIX_FMT_NONE
/// where it takes none that can be written.
AVPixelFormat closestFormatOf(const AVCodec& codec, AVPixelFormat format);

/// The pixel format to encode: the one that is wanted, or by the purpose the one nearest to the
/// source's. Where sides are odd and the codec's colour would need even ones, one with more colour.
/// Throws MediaError with what to change.
AVPixelFormat choosePixelFormat(const ClipInfo& source, const AVCodec& codec,
                                const AVOutputFormat& container, const std::string& output,
                                const EncoderOptions& wanted);

} // namespace tintwell::media
