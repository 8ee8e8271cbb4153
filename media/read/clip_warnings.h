#pragma once

#include "media/clip_info.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::media {

/// What was found wrong with a clip while it was read.
struct ClipFlaws {
    std::int64_t damagedParts = 0;  ///< that could not be decoded as they should
    std::int64_t missingFrames = 0; ///< between others
    std::string readFailure;        ///< why it could not be read to its end; empty where it could
    bool endsEarly = false;         ///< before the end that it announces
};

/// What the user should hear of it. `input` is what messages call the clip.
std::vector<std::string> warningsOf(const std::string& input, const ClipInfo& info,
                                    const ClipFlaws& flaws);

} // namespace tintwell::media
