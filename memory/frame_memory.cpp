#include "memory/frame_memory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <utility>

namespace tintwell {

/// The blocks that were given back last.
class SpareBlocks {
public:
    using Block = FrameMemory::Block;

    /// A block of at least this size that is not much larger, or none.
    Block take(std::size_t bytes) {
        const auto fits = [&](const Block& block) {
            return block.bytes && block.size >= bytes && block.size / 2 <= bytes;
        };
        const auto found = std::ranges::find_if(blocks_, fits);
        return found != blocks_.end() ? std::exchange(*found, {}) : Block{};
    }

    /// Keeps the block in place of the one that was kept longest.
    void give(Block block) {
        if (block.size <= kLargest) {
            std::rotate(blocks_.begin(), blocks_.end() - 1, blocks_.end());
            blocks_.front() = std::move(block);
        }
    }

    void clear() { blocks_ = {}; }

private:
    /// What smoothing uses at a time: the planes of two frames and, at 16 bits, their levels.
    static constexpr std::size_t kBlocks = 4;
    /// Beyond it, what would lie idle in the host's process matters more than the time.
    static constexpr std::size_t kLargest = std::size_t{80} << 20U;

    std::array<Block, kBlocks> blocks_;
};

namespace {

/// Access to the spare blocks for one thread at a time. Whoever comes second goes without.
class SpareAccess {
public:
    SpareAccess() : granted_(!busy.test_and_set(std::memory_order_acquire)) {}

    SpareAccess(const SpareAccess&) = delete;
    SpareAccess& operator=(const SpareAccess&) = delete;

    ~SpareAccess() {
        if (granted_) {
            busy.clear(std::memory_order_release);
        }
    }

    SpareBlocks* blocks() const { return granted_ ? &spares : nullptr; }

private:
    static inline std::atomic_flag busy;
    static inline SpareBlocks spares;

    bool granted_;
};

} // namespace

FrameMemory::FrameMemory(std::size_t bytes) {
    if (const SpareAccess access; SpareBlocks* spares = access.blocks()) {
        block_ = spares->take(bytes);
    }
    if (!block_.bytes) {
        block_ = {std::make_unique_for_overwrite<std::byte[]>(bytes), bytes};
    }
}

FrameMemory& FrameMemory::operator=(FrameMemory&& other) noexcept {
    std::swap(block_, other.block_);
    return *this;
}

FrameMemory::~FrameMemory() {
    if (!block_.bytes) {
        return;
    }
    if (const SpareAccess access; SpareBlocks* spares = access.blocks()) {
        spares->give(std::move(block_));
    }
}

void releaseSpareFrameMemory() {
    if (const SpareAccess access; SpareBlocks* spares = access.blocks()) {
        spares->clear();
    }
}

} // namespace tintwell
