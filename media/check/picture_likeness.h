#pragma once

#include "media/color/frame_converter.h"

#include <optional>
#include <vector>

namespace tintwell::media {

/// The mean alpha, red, green and blue of blocks of 16 x 16 pixels, 0 to 255, row by row. Encoding
/// blurs and adds noise but leaves these almost as they are, while a wrong plane, matrix or range,
/// or a picture that was not decoded, moves them.
using BlockMeans = std::vector<double>;

/// The picture's properties may be of another pixel format than that of the `format` given, of
/// which the rest then holds. Throws MediaError.
BlockMeans blockMeans(const AVFrame& picture, const PictureFormat& format);

/// Mean distance of two pictures of one size, in levels of 255.
double distance(const BlockMeans& picture, const BlockMeans& other);

/// Whether all samples are the same; empty where that cannot be told, as the formats differ or have
/// bytes without a meaning.
std::optional<bool> areEqual(const AVFrame& picture, const AVFrame& other);

} // namespace tintwell::media
