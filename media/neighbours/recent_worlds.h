#pragma once

#include "host/frame_buffer.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace tintwell::media {

/// The worlds that were handed out last, for requests that are repeated, and the memory of those
/// before them, for the next ones. For one thread at a time, the one that gives the worlds back.
class RecentWorlds {
public:
    RecentWorlds(std::int32_t width, std::int32_t height, host::SampleDepth depth)
        : width_(width), height_(height), depth_(depth) {}

    /// A world to be filled; the pixels are whatever they were.
    std::shared_ptr<host::FrameBuffer> take();

    /// Puts back a world that nobody was given.
    void putBack(std::shared_ptr<host::FrameBuffer> world) { free_.push_back(std::move(world)); }

    /// Null where the world of this frame is not among the last.
    std::shared_ptr<const host::FrameBuffer> find(std::int64_t index) const;

    /// Remembers a world that is handed out.
    void add(std::int64_t index, std::shared_ptr<host::FrameBuffer> world);

private:
    struct Recent {
        std::int64_t index;
        std::shared_ptr<host::FrameBuffer> world;
    };

    std::int32_t width_;
    std::int32_t height_;
    host::SampleDepth depth_;
    std::deque<Recent> recent_; ///< oldest first
    std::vector<std::shared_ptr<host::FrameBuffer>> free_;
};

} // namespace tintwell::media
