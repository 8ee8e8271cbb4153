#pragma once

#include "fuzz_input.h"
#include "module/interface/host_interface.h"

#include <cstddef>
#include <vector>

namespace tintwell::fuzz {

/// A world of any depth, size and row bytes, with the memory in which its rows lie, whatever their
/// order, padding, overlap and alignment. One that would need more than some KiB has no data.
class Picture {
public:
    explicit Picture(FuzzInput& input);

    const EffectWorld& world() const { return world_; }

    const std::vector<std::byte>& memory() const { return memory_; }

    /// Of so many rows, all in one place, that nobody has the patience for it.
    bool isEndless() const { return std::int64_t{world_.width} * world_.height > 10'000; }

    /// Whether the memory was this before, but for the pixels.
    bool differsInPixelsOnly(std::vector<std::byte> before) const;

private:
    bool isEmpty() const { return world_.width <= 0 || world_.height <= 0; }

    std::int64_t rowSize() const {
        return std::int64_t{world_.width} * (world_.flags != 0 ? 8 : 4);
    }

    /// From the first row: where samples have two bytes, a whole number of them.
    std::int64_t rowOffset(std::int64_t y) const {
        return y * (world_.flags != 0 ? world_.rowBytes / 2 * 2 : world_.rowBytes);
    }

    void fill(FuzzInput& input);

    EffectWorld world_{};
    std::vector<std::byte> memory_;
    std::int64_t start_ = 0; ///< of the first row in the memory
};

} // namespace tintwell::fuzz
