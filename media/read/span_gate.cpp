#include "media/read/span_gate.h"

#include "media/media_error.h"

namespace tintwell::media {

SpanGate::Side SpanGate::sideOf(std::int64_t index) const {
    if (!span_) {
        return Side::Inside;
    }
    return index < span_->first ? Side::Before : index > span_->last ? Side::Behind : Side::Inside;
}

bool SpanGate::passes(std::int64_t index) const {
    return !span_ || index <= span_->last + framesBehind_;
}

void SpanGate::noteBehind(const Moment& time) {
    if (!end_) {
        end_ = time;
    }
}

void SpanGate::check(const std::string& input, std::int64_t frameCount) const {
    if (span_ && (span_->toEnd ? span_->first : span_->last) >= frameCount) {
        const std::string last = span_->toEnd ? "" : std::to_string(span_->last);
        throw MediaError(input + ": the frames " + std::to_string(span_->first) + "-" + last +
                         " are not all in the clip, which has " + std::to_string(frameCount) +
                         " (0-" + std::to_string(frameCount - 1) + ")");
    }
}

} // namespace tintwell::media
