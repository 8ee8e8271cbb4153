#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/rational.h>
}

namespace tintwell::media {

/// A point in time or a span of it: a number of time bases.
struct Moment {
    std::int64_t ticks = 0;
    AVRational timeBase{1, AV_TIME_BASE};
};

bool operator<(const Moment& left, const Moment& right);

/// The moment in another time base, rounded.
std::int64_t ticksOf(const Moment& moment, AVRational timeBase);

} // namespace tintwell::media
