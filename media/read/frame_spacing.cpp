#include "media/read/frame_spacing.h"

#include <cstdlib>

namespace tintwell::media {
namespace {

std::int64_t timeOf(AVStream& stream, int entry) {
    return avformat_index_get_entry(&stream, entry)->timestamp;
}

} // namespace

std::optional<bool> isEvenlySpaced(AVStream& stream) {
    const int count = avformat_index_get_entries_count(&stream);
    if (count < 2 || count != stream.nb_frames) {
        return {};
    }
    const std::int64_t step = timeOf(stream, 1) - timeOf(stream, 0);
    for (int entry = 2; entry < count; ++entry) {
        if (std::abs(timeOf(stream, entry) - timeOf(stream, entry - 1) - step) > 1) {
            return false;
        }
    }
    return true;
}

std::optional<Pace> paceOf(AVStream& stream) {
    if (!isEvenlySpaced(stream).value_or(false)) {
        return {};
    }
    const int last = avformat_index_get_entries_count(&stream) - 1;
    const std::int64_t ticks = timeOf(stream, last) - timeOf(stream, 0);
    return ticks > 0 ? std::optional(Pace{ticks, last}) : std::nullopt;
}

} // namespace tintwell::media
