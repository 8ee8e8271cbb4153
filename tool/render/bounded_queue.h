#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace tintwell::tool {

/// Hands items from one thread to another, a few at a time: the faster of the two waits.
template <class Item>
class BoundedQueue {
public:
    explicit BoundedQueue(std::size_t capacity) : capacity_(capacity) {}

    /// Waits for room. False, and the item is gone, when the queue was cancelled.
    bool push(Item item) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return cancelled_ || items_.size() < capacity_; });
        if (cancelled_) {
            return false;
        }
        items_.push_back(std::move(item));
        changed_.notify_all();
        return true;
    }

    /// Waits for an item. Empty when no more will come, or the queue was cancelled.
    std::optional<Item> pop() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return cancelled_ || finished_ || !items_.empty(); });
        if (cancelled_ || items_.empty()) {
            return {};
        }
        std::optional<Item> item(std::move(items_.front()));
        items_.pop_front();
        changed_.notify_all();
        return item;
    }

    /// No more items will be pushed.
    void finish() {
        const std::lock_guard lock(mutex_);
        finished_ = true;
        changed_.notify_all();
    }

    /// Both sides are to give up; what waits in the queue is dropped.
    void cancel() {
        const std::lock_guard lock(mutex_);
        cancelled_ = true;
        items_.clear();
        changed_.notify_all();
    }

private:
    const std::size_t capacity_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Item> items_;
    bool finished_ = false;
    bool cancelled_ = false;
};

} // namespace tintwell::tool
