#pragma once

#include <algorithm>
#include <cstddef>

namespace tintwell::kernels {

inline constexpr std::size_t kCacheLineBytes = 64;

/// Asks the processor for memory that is going to be read.
inline void prefetchLine([[maybe_unused]] const std::byte* memory) {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(memory);
#endif
}

/// Asks the processor for the beginnings of the pages of `bytes` of memory that is going to be read
/// or written, so that it knows where they are and begins to fetch them while something else is
/// worked on. The rest follows by its own prediction, which begins anew at every page; to ask for
/// all of it would keep the processor waiting.
inline void prefetchPages(const std::byte* memory, std::size_t bytes) {
    constexpr std::size_t kPageBytes = 4096;
    constexpr std::size_t kLines = 2;
    for (std::size_t page = 0; page < bytes; page += kPageBytes) {
        const std::size_t end = std::min(page + kLines * kCacheLineBytes, bytes);
        for (std::size_t offset = page; offset < end; offset += kCacheLineBytes) {
            prefetchLine(memory + offset);
        }
    }
}

} // namespace tintwell::kernels
