#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tintwell {

/// Pixels per level 0..255. Here and wherever else pixels are counted a count has 32 bits: it wraps
/// in a frame of 2^32 pixels or more.
using LevelCounts = std::array<std::uint32_t, 256>;

/// Counts levels by pairs: one addition serves two neighbours, and neighbours are so alike that the
/// few pairs a picture has stay in the nearest cache. For whole frames: its table takes 256 KiB.
class LevelCounter {
public:
    LevelCounter();

    /// `soon` is memory that is read soon, `soonStep` bytes for each level, or nothing (0): one
    /// line of each block's is asked for on the way, so few at a time that nothing waits for them.
    void add(const std::uint8_t* levels, std::size_t count, const std::byte* soon,
             std::size_t soonStep);

    /// The counts so far.
    LevelCounts counts() const;

private:
    static constexpr std::size_t kLevels = 256;

    std::vector<std::uint32_t> pairs_; ///< kLevels rows of kLevels
    LevelCounts singles_{};            ///< what was left over of odd runs
};

/// Counts levels one by one, for samples of a frame. Neighbours are counted in tables of their own,
/// so that an addition need not wait for the one before.
class SampleCounter {
public:
    void add(const std::uint8_t* levels, std::size_t count);

    /// The counts so far.
    LevelCounts counts() const;

private:
    std::array<LevelCounts, 8> tables_{};
};

} // namespace tintwell
