#include "module/frame/frame_memory.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace tintwell {

void ReturnToSpares::operator()(std::byte* block) const noexcept {
    std::unique_ptr<std::byte[]> memory(block);
    if (spares != nullptr && bytes != 0) {
        spares->give({std::move(memory), bytes});
    }
}

FrameMemory makeFrameMemory(std::size_t bytes, SpareMemory* spares) {
    std::unique_ptr<std::byte[]> memory = spares != nullptr ? spares->take(bytes) : nullptr;
    if (!memory) {
        memory = std::make_unique_for_overwrite<std::byte[]>(bytes);
    }
    return {memory.release(), {spares, bytes}};
}

std::size_t SpareMemory::bytes() const {
    return std::accumulate(blocks_.begin(), blocks_.end(), std::size_t{0},
                           [](std::size_t sum, const Block& block) { return sum + block.bytes; });
}

std::unique_ptr<std::byte[]> SpareMemory::take(std::size_t bytes) {
    const auto found = std::ranges::find(blocks_, bytes, &Block::bytes);
    if (found == blocks_.end()) {
        return nullptr;
    }
    std::rotate(found, found + 1, blocks_.end());
    return std::exchange(blocks_.back(), {}).memory;
}

void SpareMemory::give(Block block) noexcept {
    if (block.bytes > kMostBytes) {
        return;
    }
    std::shift_right(blocks_.begin(), blocks_.end(), 1);
    blocks_.front() = std::move(block);
    for (auto last = blocks_.rbegin(); bytes() > kMostBytes; ++last) {
        *last = {};
    }
}

} // namespace tintwell
