#pragma once

#include "host/frame_buffer.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace tintwell::tool {

/// Frame buffers of one size that are used over and over. Any thread; outlives what it hands out.
class WorldPool {
public:
    WorldPool(std::int32_t width, std::int32_t height, host::SampleDepth depth)
        : width_(width), height_(height), depth_(depth) {}

    /// Puts a buffer back when it is let go.
    struct Return {
        WorldPool* pool = nullptr;

        void operator()(host::FrameBuffer* buffer) const { pool->put(buffer); }
    };

    using Lease = std::unique_ptr<host::FrameBuffer, Return>;

    /// The pixels are whatever they were.
    Lease take() {
        {
            const std::lock_guard lock(mutex_);
            if (!free_.empty()) {
                std::unique_ptr<host::FrameBuffer> buffer = std::move(free_.back());
                free_.pop_back();
                return Lease(buffer.release(), Return{this});
            }
        }
        return Lease(std::make_unique<host::FrameBuffer>(width_, height_, depth_).release(),
                     Return{this});
    }

private:
    void put(host::FrameBuffer* buffer) {
        std::unique_ptr<host::FrameBuffer> owned(buffer);
        const std::lock_guard lock(mutex_);
        free_.push_back(std::move(owned));
    }

    std::int32_t width_;
    std::int32_t height_;
    host::SampleDepth depth_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<host::FrameBuffer>> free_;
};

} // namespace tintwell::tool
