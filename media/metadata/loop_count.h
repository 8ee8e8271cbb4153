#pragma once

#include "media/ffmpeg_objects.h"

#include <optional>
#include <string>
#include <utility>

namespace tintwell::media {

/// How often an animation is shown, as the muxer's option of the same format says it; empty where
/// the input is none, or cannot be looked at twice. Before the input is read.
std::optional<std::pair<std::string, std::string>> loopOption(const AVFormatContext& source,
                                                              const AVOutputFormat& output);

} // namespace tintwell::media
