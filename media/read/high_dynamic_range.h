#pragma once

#include "media/clip_info.h"

#include <string>

namespace tintwell::media {

/// Decides by the clip's transfer how its range is to be treated. Throws MediaError where it is a
/// high one and nobody has said what is to become of it.
void handleHighDynamicRange(const std::string& input, HdrHandling handling, ClipInfo& info);

} // namespace tintwell::media
