#pragma once

#include "media/ffmpeg_objects.h"

#include <string>
#include <string_view>

namespace tintwell::media {

// What video containers hold, so that players understand it.

/// MP4, MOV and what is made like them.
bool isQuickTimeFamily(const AVOutputFormat& container);

/// Whether programs that read such files expect this codec in them. FFmpeg itself writes more, and
/// of some containers does not tell.
bool holdsVideo(const AVOutputFormat& container, AVCodecID codec);

/// Whether the transparency that the encoder takes reaches those who play the file.
bool holdsAlpha(const AVOutputFormat& container, AVCodecID codec);

/// The codec that such files usually have; `url` tells it for images.
AVCodecID usualVideoCodec(const AVOutputFormat& container, const std::string& url);

} // namespace tintwell::media
