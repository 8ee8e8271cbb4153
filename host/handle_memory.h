#pragma once

#include "module/interface/host_interface.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>

namespace tintwell::host {

/// The memory blocks that the host keeps for a module between commands. A handle is the address of
/// the pointer to its block. Blocks that are never disposed are freed with this object.
class HandleMemory {
public:
    /// A zeroed block, aligned for every fundamental type. Throws std::bad_alloc.
    HostHandle allocate(std::uint64_t bytes);

    /// False when the handle is not one of this object's, or is disposed already.
    bool dispose(HostHandle handle);

    std::size_t count() const { return blocks_.size(); }

    std::uint64_t bytes() const { return bytes_; }

private:
    struct Block {
        void* start;
        std::unique_ptr<std::byte[]> storage;
        std::uint64_t size;
    };

    std::unordered_map<HostHandle, std::unique_ptr<Block>> blocks_;
    std::uint64_t bytes_ = 0;
};

} // namespace tintwell::host
