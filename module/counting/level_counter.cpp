#include "module/counting/level_counter.h"

#include "module/kernels/prefetch.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>

namespace tintwell {

LevelCounter::LevelCounter() : pairs_(kLevels * kLevels) {}

void LevelCounter::add(const std::uint8_t* levels, std::size_t count, const std::byte* soon,
                       std::size_t soonStep) {
    using Words = std::array<std::uint64_t, 4>;
    constexpr std::uint32_t kPairsAtOnce = sizeof(Words) / 2;
    std::uint32_t* const pairs = pairs_.data();
    std::size_t done = 0;
    for (; done + sizeof(Words) <= count; done += sizeof(Words)) {
        kernels::prefetchLine(soon + done * soonStep);
        Words words;
        std::memcpy(words.data(), levels + done, sizeof(words));
        const std::uint64_t first = words[0];
        // In flat parts each addition would wait for the one before it.
        if (((first ^ words[1]) | (first ^ words[2]) | (first ^ words[3]) |
             (first ^ std::rotr(first, 16))) == 0) {
            pairs[first & 0xFFFFU] += kPairsAtOnce;
            continue;
        }
        for (const std::uint64_t word : words) {
            ++pairs[word & 0xFFFFU];
            ++pairs[word >> 16U & 0xFFFFU];
            ++pairs[word >> 32U & 0xFFFFU];
            ++pairs[word >> 48U];
        }
    }
    for (; done < count; ++done) {
        ++singles_[levels[done]];
    }
}

LevelCounts LevelCounter::counts() const {
    LevelCounts counts = singles_;
    for (std::size_t first = 0; first < kLevels; ++first) {
        const std::uint32_t* row = pairs_.data() + first * kLevels;
        std::uint32_t sum = 0;
        for (std::size_t second = 0; second < kLevels; ++second) {
            sum += row[second];
            counts[second] += row[second];
        }
        counts[first] += sum;
    }
    return counts;
}

void SampleCounter::add(const std::uint8_t* levels, std::size_t count) {
    std::size_t done = 0;
    for (; done + tables_.size() <= count; done += tables_.size()) {
        for (std::size_t i = 0; i < tables_.size(); ++i) {
            ++tables_[i][levels[done + i]];
        }
    }
    for (; done < count; ++done) {
        ++tables_[0][levels[done]];
    }
}

LevelCounts SampleCounter::counts() const {
    LevelCounts counts{};
    for (const LevelCounts& table : tables_) {
        std::ranges::transform(table, counts, counts.begin(), std::plus<>());
    }
    return counts;
}

} // namespace tintwell
