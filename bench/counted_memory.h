#pragma once

// A program that links counted_memory.cpp knows how much memory it has asked the language for, and
// so have the modules that it loads. For one thread at a time.

#include <cstddef>

namespace tintwell::bench {

struct CountedMemory {
    std::size_t held = 0; ///< bytes asked for and not given back
    std::size_t most = 0; ///< the most of it; may be set back
};

CountedMemory& countedMemory();

} // namespace tintwell::bench
