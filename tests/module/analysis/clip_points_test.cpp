#include "module/analysis/clip_points.h"

#include <gtest/gtest.h>

#include <map>

namespace tintwell {
namespace {

LevelCounts countsOf(const std::map<std::size_t, std::uint32_t>& bins) {
    LevelCounts counts{};
    for (const auto& [bin, count] : bins) {
        counts[bin] = count;
    }
    return counts;
}

AutoCorrectionOptions clips(std::uint32_t black, std::uint32_t white) {
    AutoCorrectionOptions options;
    options.blackClip = black;
    options.whiteClip = white;
    return options;
}

TEST(ClipPoints, StopsWhereHalfABinExceedsTheTarget) {
    struct Case {
        const char* what;
        std::map<std::size_t, std::uint32_t> bins;
        std::uint32_t black, white;
        ClipPoints expected;
    };

    const Case cases[] = {
        {"an empty histogram has no range", {}, 10, 10, {255, 255}},
        {"all in one bin", {{40, 7}}, 10, 10, {40, 40}},
        {"a single pixel stops no scan, the next bin does", {{0, 1}, {10, 1000}}, 0, 0, {1, 10}},
        {"two pixels stop it at once", {{3, 2}, {10, 1000}, {20, 2}}, 0, 0, {3, 20}},
        // Shares of 10000 pixels at 10 %: bin 5 has half of 2000 = 1000, not above the target.
        {"half a bin equal to the target goes on", {{5, 2000}, {9, 8000}}, 1000, 0, {9, 9}},
        {"one pixel more stops", {{5, 2002}, {9, 7998}}, 1000, 0, {5, 9}},
        {"everything clipped", {{5, 10}, {9, 10}}, 100000, 100000, {255, 255}},
    };
    for (const Case& c : cases) {
        const LevelCounts counts = countsOf(c.bins);
        const auto points = findClipPoints({&counts, nullptr, nullptr}, clips(c.black, c.white));
        EXPECT_EQ(points[0], c.expected) << c.what;
        EXPECT_EQ(points[1], (ClipPoints{0, 255})) << "an absent channel";
    }
}

TEST(ClipPoints, EveryChannelSetsAsideWhatTheGreediestDid) {
    // Red has set aside 120 pixels when it stops. With that target green, which its own 80 stopped
    // at level 10, passes those 100 pixels too and stops at the empty bin behind them.
    const LevelCounts red = countsOf({{0, 120}, {30, 9880}});
    const LevelCounts green = countsOf({{0, 50}, {10, 100}, {30, 9850}});
    const auto points = findClipPoints({&red, &green, nullptr}, clips(80, 0));
    EXPECT_EQ(points[0].low, 30);
    EXPECT_EQ(points[1].low, 11);
    const auto alone = findClipPoints({&green, nullptr, nullptr}, clips(80, 0));
    EXPECT_EQ(alone[0].low, 10);
}

} // namespace
} // namespace tintwell
