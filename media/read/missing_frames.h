#pragma once

#include "media/clip_info.h"

#include <cstdint>

extern "C" {
#include <libavutil/avutil.h>
}

namespace tintwell::media {

/// Counts the frames that the timestamps of a steady clip leave out: some containers pass over what
/// is damaged without a word.
class MissingFrames {
public:
    /// The next frame's time in the clip's time base, or AV_NOPTS_VALUE.
    void note(std::int64_t time, const ClipInfo& clip);

    std::int64_t count() const { return count_; }

private:
    std::int64_t previous_ = AV_NOPTS_VALUE;
    std::int64_t count_ = 0;
};

} // namespace tintwell::media
