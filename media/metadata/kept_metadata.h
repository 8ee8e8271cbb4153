#pragma once

#include "media/ffmpeg_objects.h"

#include <string>
#include <vector>

namespace tintwell::media {

/// What a container keeps of metadata, found out by writing one of the kind into memory and reading
/// it back: each has its own list of keys, and none tells it.
struct KeptMetadata {
    bool needsFreeKeys = false;    ///< QuickTime's second way, which takes any key, keeps more
    std::vector<std::string> lost; ///< keys of the clip and of its streams, and "chapters"
};

/// Of an output whose streams and metadata are set and whose header is not written yet.
KeptMetadata findKeptMetadata(const AVFormatContext& output, bool hasChapters);

/// Adds to the muxer's settings what lets it take any key.
void setFreeKeys(Dictionary& settings);

/// Moves the timecodes of the clip and its streams on by so many frames.
void moveTimecodes(AVFormatContext& output, AVRational frameRate, std::int64_t frames);

} // namespace tintwell::media
