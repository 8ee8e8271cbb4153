#pragma once

#include "media/color/row_loop.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace tintwell::media {

/// Brings samples of 16 bits down to fewer with an ordered pattern (Bayer's, 8 by 8), so that the
/// mean over any 8 by 8 of them stays what it was to a hundredth of a step, and gradients show no
/// bands. What a sample becomes depends on itself and its place alone: pictures that stand still do
/// so afterwards, and it does not matter in what order rows are converted.
class Dither {
public:
    /// How samples of a component are spread over their numbers.
    enum class Scale : std::uint8_t { Limited, Full, FullChroma };

    /// Of what comes out, 8 to 15.
    explicit Dither(int depth) : depth_(depth) {}

    /// `row` and `first` are the place of the first sample among those of its component.
    template <class Result>
    void reduce(Scale scale, const std::uint16_t* samples, std::size_t count, int row, int first,
                Result* results) const {
        const auto run = [&](std::uint32_t factor, std::uint32_t offset, auto divisor) {
            const Steps steps{factor, offset, (1U << depth_) - 1};
            runRowLoop<reduceRow<Result, decltype(divisor)>>(
                samples, count, thresholdsFor(row, first), steps, divisor, results);
        };
        // The largest numbers that come up here stay below 2^32.
        const std::uint32_t full = (1U << depth_) - 1;
        switch (scale) {
        case Scale::Limited:
            run(1U << depth_, 0, std::integral_constant<std::uint32_t, 65536>{});
            break;
        case Scale::Full:
            run(full, 0, std::integral_constant<std::uint32_t, 65535>{});
            break;
        case Scale::FullChroma: // its middle, 32768, becomes the middle
            run(full, (1U << 15) - (1U << (depth_ - 1)),
                std::integral_constant<std::uint32_t, 65535>{});
            break;
        }
    }

private:
    static constexpr unsigned kSide = 8;
    using Thresholds = std::array<std::uint32_t, kSide>;

    struct Steps {
        std::uint32_t factor;
        std::uint32_t offset;
        std::uint32_t greatest;
    };

    /// Evenly spread between 0 and 65535, neighbours as far apart as can be.
    static constexpr std::uint32_t threshold(unsigned column, unsigned row) {
        std::uint32_t order = 0;
        for (unsigned bit = 0; bit < 3; ++bit) {
            order = order << 2U | ((column ^ row) >> bit & 1U) << 1U | (row >> bit & 1U);
        }
        return (2 * order + 1) * 65536 / (2 * kSide * kSide);
    }

    static Thresholds thresholdsFor(int row, int first) {
        Thresholds thresholds{};
        for (unsigned x = 0; x < kSide; ++x) {
            thresholds[x] = threshold((static_cast<unsigned>(first) + x) % kSide,
                                      static_cast<unsigned>(row) % kSide);
        }
        return thresholds;
    }

    template <class Result, class Divisor>
    static void reduceRow(const std::uint16_t* samples, std::size_t count, Thresholds thresholds,
                          Steps steps, Divisor divisor, Result* __restrict results) {
        for (std::size_t x = 0; x < count; ++x) {
            const std::uint32_t scaled =
                samples[x] * steps.factor + steps.offset + thresholds[x % kSide];
            results[x] = static_cast<Result>(std::min(scaled / divisor, steps.greatest));
        }
    }

    int depth_;
};

} // namespace tintwell::media
