#include "module/analysis/level_counter.h"

#include <algorithm>
#include <cstring>

namespace tintwell {

LevelCounter::LevelCounter() : pairs_(kLevels * kLevels) {}

void LevelCounter::add(const std::uint8_t* levels, std::size_t count) {
    constexpr std::size_t kAtOnce = sizeof(std::uint64_t);
    std::uint32_t* pairs = pairs_.data();
    std::size_t done = 0;
    for (; done + kAtOnce <= count; done += kAtOnce) {
        std::uint64_t next = 0;
        std::memcpy(&next, levels + done, kAtOnce);
        ++pairs[next & 0xFFFFU];
        ++pairs[next >> 16U & 0xFFFFU];
        ++pairs[next >> 32U & 0xFFFFU];
        ++pairs[next >> 48U];
    }
    for (; done < count; ++done) {
        ++singles_[levels[done]];
    }
}

LevelCounts LevelCounter::take() {
    LevelCounts counts = singles_;
    for (std::size_t first = 0; first < kLevels; ++first) {
        std::uint32_t* row = pairs_.data() + first * kLevels;
        std::uint32_t sum = 0;
        for (std::size_t second = 0; second < kLevels; ++second) {
            sum += row[second];
            counts[second] += row[second];
        }
        counts[first] += sum;
        std::fill_n(row, kLevels, 0U);
    }
    singles_ = {};
    return counts;
}

} // namespace tintwell
