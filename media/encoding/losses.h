#pragma once

#include "media/encoding/encoding_plan.h"

#include <string>
#include <vector>

namespace tintwell::media {

/// Whether the samples can lie outside of 0 to 1.
bool isFloat(AVPixelFormat format);

/// What pixels lose on their way from one format to another: "10 bits become 8". Empty where every
/// sample can come back as it was.
std::vector<std::string> lossesOfFormat(AVPixelFormat from, AVPixelFormat to);

/// Of a picture of two fields in a codec that keeps them together.
std::string fieldsLoss(AVCodecID codec);

/// What the output cannot keep of the source: the pixels' losses, "lossless becomes lossy", another
/// codec, fields. What was asked for by name is not told.
std::vector<std::string> lossesOf(const SourceVideo& source, const EncodingPlan& plan,
                                  const AVOutputFormat& container, const EncoderOptions& wanted);

} // namespace tintwell::media
