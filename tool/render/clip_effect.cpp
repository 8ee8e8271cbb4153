#include "tool/render/clip_effect.h"

#include "host/command_error.h"
#include "media/clip_info.h"

#include <algorithm>
#include <utility>

namespace tintwell::tool {

ClipEffect::ClipEffect(const std::shared_ptr<const host::ModuleLibrary>& module,
                       const EffectCourse& course)
    : neighbours_(course.neighbours), reach_(course.reach),
      // The window of one take-over must not be asked for before the one before it.
      interval_(std::max(course.framesBetweenRenewals, 2 * course.reach + 2)) {
    host::InstanceOptions options = course.instance;
    options.frames = neighbours_ != nullptr ? this : nullptr;
    for (auto& instance : instances_) {
        instance = std::make_unique<host::EffectInstance>(module, options);
    }
}

void ClipEffect::setUp() {
    for (const auto& instance : instances_) {
        instance->setUp();
    }
}

void ClipEffect::setDown() {
    for (const auto& instance : instances_) {
        instance->setDown();
    }
}

void ClipEffect::requestAbort() noexcept {
    for (const auto& instance : instances_) {
        instance->requestAbort();
    }
}

/// How many frames the clip has is not known before somebody has asked for one too many. The effect
/// is told then, and asked again. What it did until then holds: the number matters only to frames
/// whose neighbours reach beyond the clip, and this is the first of them.
void ClipEffect::render(std::int64_t frameNumber, const host::FrameBuffer& input,
                        host::FrameBuffer& output) {
    const auto frame = static_cast<std::int32_t>(frameNumber);
    if (!std::exchange(begun_, true)) {
        begin(frame);
    } else if (frame >= takeOver_) {
        takeTurns(frame);
    }
    showToNext(frame, input);
    try {
        current().render(frame, input, output);
    } catch (const host::CommandError&) {
        const auto found = neighbours_ != nullptr ? neighbours_->frameCount() : std::nullopt;
        if (!found || *found <= frame || *found >= current().frameCount()) {
            throw;
        }
        frameCount_ = found;
        current().setFrameCount(*found);
        current().render(frame, input, output);
    }
}

void ClipEffect::begin(std::int32_t frame) {
    if (frame > 0) {
        host::ClipTiming timing = current().timing();
        timing.firstFrame = beginningFor(frame);
        current().renewSequence(timing.firstFrame, knownEnd(timing));
    }
    prepareNext(frame + interval_);
}

void ClipEffect::takeTurns(std::int32_t frame) {
    current_ = 1 - current_;
    current().setFrameCount(knownEnd(current().timing()));
    prepareNext(frame + interval_);
}

/// It forgets what it kept, and waits for the first frame of its window.
void ClipEffect::prepareNext(std::int64_t takeOver) {
    takeOver_ = takeOver;
    if (takeOver > media::FrameSpan::kGreatest) {
        return; // no clip is rendered that far
    }
    nextShown_ = beginningFor(takeOver);
    unused_.reset();
    next().renewSequence(static_cast<std::int32_t>(nextShown_),
                         static_cast<std::int32_t>(nextShown_ + 1));
}

void ClipEffect::showToNext(std::int32_t index, const host::FrameBuffer& pixels) {
    if (neighbours_ == nullptr || isShowing_ || index != nextShown_) {
        return;
    }
    if (!unused_) {
        unused_ =
            std::make_unique<host::FrameBuffer>(pixels.width(), pixels.height(), pixels.depth());
    }
    isShowing_ = true;
    try {
        next().setFrameCount(index + 1);
        next().render(index, pixels, *unused_);
    } catch (...) {
        isShowing_ = false;
        throw;
    }
    isShowing_ = false;
    ++nextShown_;
}

std::shared_ptr<const host::FrameBuffer> ClipEffect::frame(std::int32_t index) {
    std::shared_ptr<const host::FrameBuffer> pixels = neighbours_->frame(index);
    showToNext(index, *pixels);
    return pixels;
}

/// With which frame the clip begins for the effect, so that its beginning does not seem to lie in
/// the frame's window.
std::int32_t ClipEffect::beginningFor(std::int64_t frame) const {
    return static_cast<std::int32_t>(std::max<std::int64_t>(0, frame - reach_ - 1));
}

std::int32_t ClipEffect::knownEnd(const host::ClipTiming& timing) const {
    const std::int32_t longest = timing.longestFrameCount();
    return frameCount_ ? std::min(*frameCount_, longest) : longest;
}

} // namespace tintwell::tool
