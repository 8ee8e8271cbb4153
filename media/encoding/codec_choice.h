#pragma once

#include "media/encoding/encoding_plan.h"

#include <string>

namespace tintwell::media {

/// What a codec does to a picture.
enum class Material : std::uint8_t {
    Lossless,     ///< keeps every sample
    Intermediate, ///< made to be edited: every frame by itself, at a high rate
    Delivery,     ///< made to be watched
};

Material materialOf(AVCodecID codec);

/// Whether the encoder can code the two fields of a picture apart.
bool canCodeFields(const AVCodec& codec);

/// The encoder for the source, the container and what is wanted. Throws MediaError where there is
/// none, with what to change.
const AVCodec& chooseCodec(const SourceVideo& source, const AVOutputFormat& container,
                           const std::string& url, const std::string& output,
                           const EncoderOptions& wanted);

} // namespace tintwell::media
