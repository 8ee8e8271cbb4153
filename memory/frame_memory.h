#pragma once

#include <cstddef>
#include <memory>

namespace tintwell {

/// Memory for the planes of a frame, not initialised. A system hands out memory of this size page
/// by page and zeroed, which costs as much as the work on the frame; so a few blocks that were
/// given back are kept for the next frame. Any thread may make and destroy it.
class FrameMemory {
public:
    FrameMemory() = default;
    /// Throws std::bad_alloc.
    explicit FrameMemory(std::size_t bytes);
    FrameMemory(FrameMemory&& other) noexcept = default;
    FrameMemory& operator=(FrameMemory&& other) noexcept;
    ~FrameMemory();

    /// Null when default made or moved from. Aligned for any sample.
    std::byte* data() const { return block_.bytes.get(); }

private:
    friend class SpareBlocks;

    struct Block {
        std::unique_ptr<std::byte[]> bytes;
        std::size_t size = 0;
    };

    Block block_;
};

/// Frees what is kept.
void releaseSpareFrameMemory();

} // namespace tintwell
