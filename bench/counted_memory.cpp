#include "counted_memory.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

/// In front of each block, which keeps it aligned for anything: its size.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* allocate(std::size_t size) {
    auto* block = static_cast<std::byte*>(std::malloc(size + kHeader));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    *reinterpret_cast<std::size_t*>(block) = size;
    auto& memory = tintwell::bench::countedMemory();
    memory.held += size;
    memory.most = std::max(memory.most, memory.held);
    return block + kHeader;
}

void release(void* memory) {
    if (memory != nullptr) {
        std::byte* const block = static_cast<std::byte*>(memory) - kHeader;
        tintwell::bench::countedMemory().held -= *reinterpret_cast<std::size_t*>(block);
        std::free(block);
    }
}

} // namespace

// The allocations of loaded modules come here too: a program's functions go before those of
// libraries.
void* operator new(std::size_t size) {
    return allocate(size);
}

void* operator new[](std::size_t size) {
    return allocate(size);
}

void operator delete(void* memory) noexcept {
    release(memory);
}

void operator delete[](void* memory) noexcept {
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}

namespace tintwell::bench {

CountedMemory& countedMemory() {
    static CountedMemory memory;
    return memory;
}

} // namespace tintwell::bench
