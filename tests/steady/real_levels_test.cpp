#include "known_facts.h"
#include "module/analysis/automatic_correction.h"
#include "steady/real_levels.h"
#include "steady/real_tables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

namespace tintwell::steady {
namespace {

TEST(RealLevels, AShareLiesBetweenWholeLevels) {
    struct Case {
        const char* what;
        std::map<std::size_t, std::uint32_t> bins;
        double share;
        double expected;
    };

    const Case cases[] = {
        {"no pixels", {}, 0.5, 0.0},
        {"half of one level is its middle", {{40, 10}}, 0.5, 40.0},
        {"a quarter of it lies below", {{40, 8}}, 0.25, 39.75},
        {"the end of one level is the beginning of the next", {{40, 10}, {41, 10}}, 0.5, 40.5},
        {"levels without pixels are passed", {{40, 10}, {90, 10}}, 0.75, 90.0},
        {"never below black", {{0, 10}}, 0.01, 0.0},
        {"never above white", {{255, 10}}, 0.99, 255.0},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        LevelCounts counts{};
        for (const auto& [bin, count] : test.bins) {
            counts[bin] = count;
        }
        EXPECT_NEAR(levelAtShare(counts, test.share), test.expected, 1e-9);
    }
}

/// Where the effect's line would send levels to black and white if it went on.
RealLine extended(const LevelsEntry& entry) {
    const double slope = (entry.inputWhite - entry.inputBlack) /
                         static_cast<double>(entry.outputWhite - entry.outputBlack);
    return {entry.inputBlack - slope * entry.outputBlack,
            entry.inputWhite + slope * (255.0 - entry.outputWhite)};
}

TEST(RealLevels, AreThoseOfTheEffectBeforeRounding) {
    const bench::Scenery scenery(21);
    for (const double x : {200.0, 300.0, 400.0, 500.0, 600.0, 700.0}) {
        SCOPED_TRACE(x);
        bench::Picture picture = scenery.seen({x, 300.0}, 200, 120);
        std::vector<std::byte> bytes = bench::argbOf(picture);
        const AnalyzedFrame frame = {viewOfPixels({bytes.data(), 800, 200, 120, 8}, 0),
                                     bench::kFoundWith};
        std::unique_ptr<LevelsRecord> record;
        std::unique_ptr<ChannelHistogram> histogram;
        analyzeFrame(AutoCorrectionMode::ColorSearch, frame, record, histogram);
        ToneSearchContext context(frame);
        const auto levels = findRealLevels(*histogram, *record, context);
        ASSERT_TRUE(levels);
        for (std::size_t c = 0; c < 3; ++c) {
            const RealLine expected = extended(record->entries[c + 1]);
            EXPECT_NEAR((*levels)[c].black, expected.black, 2.5);
            EXPECT_NEAR((*levels)[c].white, expected.white, 2.5);
        }
    }
}

TEST(RealTables, OfWholeLevelsAreThoseOfTheEffect) {
    std::mt19937 random(5);
    for (int round = 0; round < 200; ++round) {
        LevelsRecord record;
        RealLevels levels;
        for (std::size_t c = 0; c < 3; ++c) {
            const auto black = static_cast<std::uint16_t>(random() % 100);
            const auto white = static_cast<std::uint16_t>(110 + random() % 146);
            const auto gamma = static_cast<std::uint16_t>(c == 0 ? 100 : 60 + random() % 100);
            record.entries[c + 1] = {black, white, 0, 255, gamma};
            levels[c] = {static_cast<double>(black), static_cast<double>(white), gamma / 100.0};
        }
        std::array<LevelsTable, 4> expected = {LevelsTable(true), LevelsTable(true),
                                               LevelsTable(true), LevelsTable(true)};
        buildChannelTables(record, expected);
        const auto tables = realTables(levels, true);
        // The effect rounds twice where there is a gamma, and the places of 16-bit levels.
        for (std::size_t c = 0; c < 3; ++c) {
            const int slack = c == 0 ? 0 : 2;
            const double slope = 255.0 / (levels[c].white - levels[c].black);
            for (std::size_t x = 0; x < 256; ++x) {
                ASSERT_NEAR(tables[c + 1].table8[x], expected[c + 1].table8[x], slack) << x;
            }
            for (std::size_t i = 2048; i < LevelsTable::kDeepSize; ++i) {
                ASSERT_NEAR(tables[c + 1].table16[i], expected[c + 1].table16[i],
                            8.0 * slope * (c == 0 ? 1.0 : 2.0))
                    << i;
            }
        }
    }
}

TEST(RealTables, KeepBlackAndWhiteAndRiseByPartsOfALevel) {
    LevelsTable before(true);
    LevelsTable after(true);
    buildRealTable({16.0, 230.0, 1.0}, before);
    buildRealTable({16.1, 230.0, 1.0}, after);
    EXPECT_EQ(after.table16.front(), 0);
    EXPECT_EQ(after.table16.back(), 32768);
    EXPECT_EQ(after.table8.back(), 255);
    for (std::size_t i = 400; i < 3000; ++i) {
        ASSERT_LT(after.table16[i], before.table16[i]);
    }
}

} // namespace
} // namespace tintwell::steady
