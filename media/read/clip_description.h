#pragma once

#include "media/clip_info.h"
#include "media/input/input_file.h"

namespace tintwell::media {

/// What the container and the clip's first frame tell of it. What the frame says counts before what
/// the stream does.
ClipInfo describeClip(const InputFile& file, AVFrame& first);

} // namespace tintwell::media
