#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace tintwell::tool {

/// Calls of the system and of the C library that can fail.
enum class FaultKind : std::uint32_t { Memory, Thread, Open, Read, Write, Close, Rename, Sync };

/// What the tests and the library in the program's process tell each other: the content of a file
/// that both have mapped, so that it can be read whatever became of the process.
struct FaultRecord {
    static constexpr char kVariable[] = "TINTWELL_FAULT_RECORD"; ///< names the file

    using Trace = std::array<char, 2048>; ///< a line for each function, the innermost first

    FaultKind kind = FaultKind::Memory;
    std::uint32_t lasting = 0;            ///< 1: all calls from the failing one on fail
    std::uint64_t failing = 0;            ///< which call fails, counted from 1; 0: none
    std::atomic<std::uint64_t> calls = 0; ///< there have been
    Trace failed = {};                    ///< who made the call that failed first
    Trace crashed = {};                   ///< where the process was when a signal ended it
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

} // namespace tintwell::tool
