#pragma once

#include <cstdint>
#include <optional>

extern "C" {
#include <libavformat/avformat.h>
}

namespace tintwell::media {

/// How long a clip of evenly spaced frames is.
struct Pace {
    std::int64_t ticks; ///< from the first frame to the last, in the stream's time base
    std::int64_t frames;
};

/// Whether all frames follow each other at the same distance; empty where the container's index
/// does not tell.
std::optional<bool> isEvenlySpaced(AVStream& stream);

/// Empty where the container's index does not tell, or the frames are not evenly spaced.
std::optional<Pace> paceOf(AVStream& stream);

} // namespace tintwell::media
