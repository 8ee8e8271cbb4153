// Decoders, demuxers and encoders do not all tell where there was no memory for them: some go on
// with a part missing or damaged. So the functions that they take memory with are watched.

#include "tool/commands/memory_watch.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace tintwell::tool {
namespace {

std::atomic<bool> ranOut{false};

[[maybe_unused]] void* watched(void* block, std::size_t size) {
    if (block == nullptr && size > 0) {
        ranOut = true;
    }
    return block;
}

} // namespace

bool memoryRanOut() {
    return ranOut;
}

} // namespace tintwell::tool

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

using tintwell::tool::watched;

#pragma GCC visibility push(default) // libraries must find them

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

// A program's functions go before those of libraries.

void* malloc(std::size_t size) noexcept {
    return watched(__libc_malloc(size), size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return watched(__libc_calloc(count, size), count > 0 ? size : 0);
}

void* realloc(void* block, std::size_t size) noexcept {
    return watched(__libc_realloc(block, size), size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return watched(__libc_memalign(alignment, size), size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
    if (alignment % sizeof(void*) != 0 || alignment == 0 || (alignment & (alignment - 1)) != 0) {
        return EINVAL;
    }
    void* const taken = memalign(alignment, size);
    if (taken == nullptr) {
        return ENOMEM;
    }
    *block = taken;
    return 0;
}

} // extern "C"

#pragma GCC visibility pop

#endif
