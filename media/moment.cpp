#include "media/moment.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace tintwell::media {

bool operator<(const Moment& left, const Moment& right) {
    return av_compare_ts(left.ticks, left.timeBase, right.ticks, right.timeBase) < 0;
}

std::int64_t ticksOf(const Moment& moment, AVRational timeBase) {
    return av_rescale_q(moment.ticks, moment.timeBase, timeBase);
}

} // namespace tintwell::media
