#include "media/neighbours/frame_window.h"

#include "media/media_error.h"

#include <limits>
#include <string>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace tintwell::media {
namespace {

constexpr int kRowAlignment = 64;

} // namespace

std::int64_t FrameWindow::capacity(const ClipInfo& info, std::int64_t bytes) {
    const int pictureBytes =
        av_image_get_buffer_size(info.pixelFormat, info.width, info.height, kRowAlignment);
    return pictureBytes > 0 ? bytes / pictureBytes : 0;
}

FrameWindow::FrameWindow(const ClipInfo& info, host::SampleDepth depth, std::int64_t first)
    : toWorld_(info, depth), worlds_(info.width, info.height, depth),
      kept_(std::numeric_limits<std::size_t>::max()), first_(first) {}

void FrameWindow::add(std::int64_t index, const AVFrame& picture) {
    FramePtr reference(av_frame_clone(&picture));
    if (!reference) {
        throw std::bad_alloc();
    }
    const std::lock_guard lock(mutex_);
    if (index >= first_) {
        kept_.add(index, std::move(reference));
    }
    added_ = index + 1;
    changed_.notify_all();
}

void FrameWindow::finish() {
    const std::lock_guard lock(mutex_);
    finished_ = true;
    changed_.notify_all();
}

void FrameWindow::cancel() {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    changed_.notify_all();
}

void FrameWindow::moveTo(std::int64_t first) {
    const std::lock_guard lock(mutex_);
    first_ = first;
    kept_.dropBefore(first_);
}

std::shared_ptr<const host::FrameBuffer> FrameWindow::frame(std::int32_t index) {
    if (auto recent = worlds_.find(index)) {
        return recent;
    }
    const SharedPicture picture = waitFor(index);
    std::shared_ptr<host::FrameBuffer> world = worlds_.take();
    toWorld_.convert(*picture, *world);
    worlds_.add(index, world);
    return world;
}

SharedPicture FrameWindow::waitFor(std::int64_t index) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return cancelled_ || finished_ || added_ > index; });
    if (cancelled_) {
        throw MediaError("the reading was given up");
    }
    if (index >= added_) {
        frameCount_ = static_cast<std::int32_t>(added_);
        throw MediaError("the clip has no frame " + std::to_string(index));
    }
    SharedPicture picture = kept_.find(index);
    if (!picture) {
        throw MediaError("frame " + std::to_string(index) + " is not kept any more");
    }
    return picture;
}

std::optional<std::int32_t> FrameWindow::frameCount() const {
    const std::lock_guard lock(mutex_);
    return frameCount_;
}

} // namespace tintwell::media
