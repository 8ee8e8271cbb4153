#include "media/neighbours/file_neighbours.h"

#include "media/media_error.h"

#include <utility>

namespace tintwell::media {
namespace {

/// A window that grows goes back now and then between steps forward; after so many steps it does
/// not any more.
constexpr int kForwardBeforeForgetting = 8;

} // namespace

FileNeighbours::FileNeighbours(const std::string& input, const InputOptions& options,
                               host::SampleDepth depth, const Limits& limits)
    : input_(input), options_(options), limits_(limits), reader_(input, {options, {}, false}),
      aheadToWorld_(reader_.info(), depth), backToWorld_(reader_.info(), depth),
      worlds_(reader_.info().width, reader_.info().height, depth), thread_([this] { readOn(); }) {}

FileNeighbours::~FileNeighbours() {
    cancel();
}

void FileNeighbours::cancel() {
    cancelled_ = true; // first, for a look back that holds the lock
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
}

std::optional<std::int32_t> FileNeighbours::frameCount() const {
    const std::lock_guard lock(mutex_);
    return frameCount_;
}

std::shared_ptr<const host::FrameBuffer> FileNeighbours::frame(std::int32_t index) {
    std::unique_lock lock(mutex_);
    if (auto recent = worlds_.find(index)) {
        return recent;
    }
    waitFor(index, lock);
    std::shared_ptr<host::FrameBuffer> world = takeReady(index);
    if (!world) {
        world = goBackTo(index);
    } else if (++forwardInARow_ == kForwardBeforeForgetting) {
        lookBack_.reset();
    }
    worlds_.add(index, world);
    changed_.notify_all();
    return world;
}

/// Until the reader has passed the frame.
void FileNeighbours::waitFor(std::int64_t index, std::unique_lock<std::mutex>& lock) {
    if (index > wanted_) {
        wanted_ = index;
        changed_.notify_all();
    }
    changed_.wait(lock, [&] {
        return cancelled_ || passed_.count() > index || frameCount_ || failure_ != nullptr;
    });
    if (cancelled_) {
        throw MediaError(inputName(input_) + ": reading was given up");
    }
    if (passed_.count() > index) {
        return;
    }
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    throw MediaError(inputName(input_) + ": has no frame " + std::to_string(index) + ", only " +
                     std::to_string(*frameCount_));
}

/// Null where the frame is none of those that wait. Those before it were not wanted.
std::shared_ptr<host::FrameBuffer> FileNeighbours::takeReady(std::int64_t index) {
    while (!ready_.empty() && ready_.front().index < index) {
        worlds_.putBack(std::move(ready_.front().world));
        ready_.pop_front();
    }
    if (ready_.empty() || ready_.front().index != index) {
        return nullptr;
    }
    std::shared_ptr<host::FrameBuffer> world = std::move(ready_.front().world);
    ready_.pop_front();
    return world;
}

std::shared_ptr<host::FrameBuffer> FileNeighbours::goBackTo(std::int64_t index) {
    forwardInARow_ = 0;
    if (!lookBack_) {
        lookBack_.emplace(input_, options_, limits_.keptBytes);
    }
    const SharedPicture picture = lookBack_->fetch(index, passed_, cancelled_);
    std::shared_ptr<host::FrameBuffer> world = worlds_.take();
    backToWorld_.convert(*picture, *world);
    return world;
}

void FileNeighbours::readOn() {
    try {
        while (readOneOn()) {
        }
    } catch (...) {
        const std::lock_guard lock(mutex_);
        failure_ = std::current_exception();
        changed_.notify_all();
    }
}

/// One more frame, when there is need for it. False at the end.
bool FileNeighbours::readOneOn() {
    std::unique_lock lock(mutex_);
    const std::int64_t index = passed_.count();
    const auto isNeeded = [&] {
        return index <= wanted_ || (wanted_ >= 0 && ready_.size() < limits_.readyWorlds);
    };
    changed_.wait(lock, [&] { return cancelled_ || isNeeded(); });
    std::shared_ptr<host::FrameBuffer> world = index >= wanted_ ? worlds_.take() : nullptr;
    lock.unlock();

    const FramePtr picture = cancelled_ ? nullptr : nextPicture();
    if (picture && world) {
        aheadToWorld_.convert(*picture, *world);
    }
    const PictureDigest digest = picture ? digestOf(*picture) : PictureDigest{};

    lock.lock();
    if (picture) {
        passed_.add(picture->pts, digest);
        if (world) {
            ready_.push_back({index, std::move(world)});
        }
    } else if (!cancelled_) {
        frameCount_ = static_cast<std::int32_t>(index);
    }
    changed_.notify_all();
    return picture != nullptr;
}

/// Null at the end, and where a picture has another size: for who looks at neighbours the clip ends
/// there too.
FramePtr FileNeighbours::nextPicture() {
    try {
        while (std::optional<ReadItem> item = reader_.read()) {
            if (item->frame) {
                return std::move(item->frame);
            }
        }
    } catch (const MediaError&) {
        return nullptr;
    }
    if (reader_.failedToRead()) {
        throw MediaError(inputName(input_) + ": cannot be read a second time");
    }
    return nullptr;
}

} // namespace tintwell::media
