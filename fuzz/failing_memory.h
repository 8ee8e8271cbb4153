#pragma once

#include <cstdint>

namespace tintwell::fuzz {

/// While one lives, allocations of more than 64 MiB fail, and so does the one of this number,
/// counted from 1; 0 for none. One at a time per process.
struct FailingMemory {
    explicit FailingMemory(std::uint32_t failAt);
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;
    ~FailingMemory();
};

} // namespace tintwell::fuzz
