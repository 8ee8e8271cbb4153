#include "media/read/stand_ins.h"

#include <new>
#include <utility>

namespace tintwell::media {
namespace {

FramePtr referenceTo(const AVFrame& picture) {
    FramePtr reference(av_frame_clone(&picture));
    if (!reference) {
        throw std::bad_alloc();
    }
    return reference;
}

} // namespace

void StandIns::put(FramePtr picture) {
    if (length_ && picture->pts == AV_NOPTS_VALUE) {
        picture->pts = number_.value_or(0);
    }
    // A file is one picture, whatever else is in it.
    if (!length_ || !number_ || picture->pts >= *number_) {
        decoded_ = std::move(picture);
    }
}

void StandIns::end() {
    ended_ = true;
}

void StandIns::startAnew() {
    number_.reset();
    decoded_.reset();
    before_.reset();
    ended_ = false;
}

FramePtr StandIns::next() {
    standsIn_ = false;
    if (!length_) {
        return std::move(decoded_);
    }
    if (!decoded_) {
        const bool due = ended_ && before_ && number_ && *number_ < *length_;
        return due ? standIn(*before_) : nullptr;
    }
    if (number_ && decoded_->pts > *number_) {
        return standIn(before_ ? *before_ : *decoded_);
    }
    number_ = decoded_->pts + 1;
    before_ = referenceTo(*decoded_);
    return std::move(decoded_);
}

FramePtr StandIns::standIn(const AVFrame& picture) {
    FramePtr other = referenceTo(picture);
    other->pts = other->best_effort_timestamp = (*number_)++;
    standsIn_ = true;
    ++count_;
    return other;
}

} // namespace tintwell::media
