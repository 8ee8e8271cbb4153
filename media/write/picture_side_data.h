#pragma once

#include "media/ffmpeg_objects.h"

#include <set>
#include <string>

namespace tintwell::media {

// What is said of pictures beside their samples: the display that they were graded on and how
// bright they get, captions, timecodes.

/// Notes the kinds that go with the picture and that somebody would miss.
void noteSideData(const AVFrame& picture, std::set<AVFrameSideDataType>& kinds);

/// Whether what goes into the encoder comes out of the file again.
bool carries(AVFrameSideDataType kind, const AVCodec& codec, const AVOutputFormat& container);

/// Mastering display and content light, as the encoders of H.264 and HEVC take them among their
/// parameters; empty where the picture has none, or for other encoders.
std::string lightParameters(const AVFrame& picture, const AVCodec& codec);

/// The same for the container, where it has not been told yet.
void copyLight(const AVFrame& picture, AVStream& target);

} // namespace tintwell::media
