#pragma once

#include <array>
#include <cstddef>
#include <memory>

namespace tintwell {

class SpareMemory;

/// Gives a frame's memory back to where it came from.
struct ReturnToSpares {
    SpareMemory* spares = nullptr; ///< null: frees it
    std::size_t bytes = 0;

    void operator()(std::byte* block) const noexcept;
};

/// Memory for the planes of a frame, aligned for any sample. The spares must outlive it.
using FrameMemory = std::unique_ptr<std::byte[], ReturnToSpares>;

/// Not initialised. `spares` may be null. Throws std::bad_alloc.
FrameMemory makeFrameMemory(std::size_t bytes, SpareMemory* spares);

/// Memory of frames kept for the next ones: a system hands out memory of this size page by page and
/// zeroed, which costs as much as the work on the frame. Used by one thread at a time.
class SpareMemory {
public:
    /// What smoothing uses at a time: the planes of two frames, at 16 bits the levels of one of
    /// them, and the indices of one.
    static constexpr std::size_t kMostBlocks = 4;
    /// Beyond it, what would lie idle in the host's process matters more than the time.
    static constexpr std::size_t kMostBytes = std::size_t{160} << 20U;

    /// How much is kept.
    std::size_t bytes() const;

private:
    friend FrameMemory makeFrameMemory(std::size_t bytes, SpareMemory* spares);
    friend struct ReturnToSpares;

    struct Block {
        std::unique_ptr<std::byte[]> memory;
        std::size_t bytes = 0;
    };

    /// A block of exactly this size, or none: the frames of a sequence are of one size, and who
    /// writes beyond what was asked for is still beyond the block.
    std::unique_ptr<std::byte[]> take(std::size_t bytes);
    /// Keeps the block; those that were kept longest make room for it.
    void give(Block block) noexcept;

    std::array<Block, kMostBlocks> blocks_; ///< the last given one first, empty ones last
};

} // namespace tintwell
