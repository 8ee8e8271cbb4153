#include "host/handle_memory.h"

#include <utility>

namespace tintwell::host {

HostHandle HandleMemory::allocate(std::uint64_t bytes) {
    auto block = std::make_unique<Block>();
    block->storage = std::make_unique<std::byte[]>(static_cast<std::size_t>(bytes));
    block->start = block->storage.get();
    block->size = bytes;
    const HostHandle handle = &block->start;
    blocks_.emplace(handle, std::move(block));
    bytes_ += bytes;
    return handle;
}

bool HandleMemory::dispose(HostHandle handle) {
    const auto found = blocks_.find(handle);
    if (found == blocks_.end()) {
        return false;
    }
    bytes_ -= found->second->size;
    blocks_.erase(found);
    return true;
}

} // namespace tintwell::host
