#include "apply/levels_application.h"
#include "apply/levels_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace tintwell {
namespace {

std::array<LevelsTable, 4> tablesOf(const LevelsRecord& levels) {
    std::array<LevelsTable, 4> tables = {LevelsTable(true), LevelsTable(true), LevelsTable(true),
                                         LevelsTable(true)};
    buildChannelTables(levels, tables);
    return tables;
}

LevelsTable redTable(const LevelsEntry& red, const LevelsEntry& composite = {}) {
    LevelsRecord levels;
    levels.entries[0] = composite;
    levels.entries[1] = red;
    return tablesOf(levels)[1];
}

std::vector<int> beginning(const LevelsTable& table, std::size_t count) {
    return {table.table8.begin(), table.table8.begin() + static_cast<std::ptrdiff_t>(count)};
}

TEST(LevelsTables, NeutralRecordIsTheIdentity) {
    for (const LevelsTable& table : tablesOf({})) {
        for (std::size_t x = 0; x < 256; ++x) {
            ASSERT_EQ(table.table8[x], x);
        }
        for (std::size_t i = 0; i <= 4096; ++i) {
            ASSERT_EQ(table.table16[i], 8 * i);
        }
    }
}

TEST(LevelsTables, LinearRampClampsOutsideItsInputs) {
    const LevelsTable table = redTable({10, 245, 0, 255, 100});
    EXPECT_EQ(table.table8[9], 0);
    EXPECT_EQ(table.table8[10], 0);
    EXPECT_EQ(table.table8[128], 128);
    EXPECT_EQ(table.table8[245], 255);
    EXPECT_EQ(table.table8[255], 255);
    EXPECT_EQ(table.table16[4096], 32768);
}

TEST(LevelsTables, FallingRampRoundsHalvesAwayFromZero) {
    // 3 outputs down over 2 inputs: the middle is 101.5 below 103, rounded away from the start.
    const LevelsTable table = redTable({100, 102, 103, 100, 100});
    EXPECT_EQ(table.table8[100], 103);
    EXPECT_EQ(table.table8[101], 101);
    EXPECT_EQ(table.table8[102], 100);
}

TEST(LevelsTables, EqualInputsAreAStepAtBothDepths) {
    const LevelsTable table = redTable({90, 90, 20, 200, 150});
    EXPECT_EQ(table.table8[89], 20);
    EXPECT_EQ(table.table8[90], 200);
    EXPECT_EQ(table.table16[static_cast<std::size_t>(deepIndex(90)) - 1], deepSample(20));
    EXPECT_EQ(table.table16[static_cast<std::size_t>(deepIndex(90))], deepSample(200));
}

TEST(LevelsTables, GammaCurvesHaveACubicToe) {
    const LevelsTable two = redTable({0, 255, 0, 255, 200});
    EXPECT_EQ(beginning(two, 7), (std::vector<int>{0, 4, 8, 12, 16, 19, 23}));
    EXPECT_EQ(two.table8[32], 90);
    EXPECT_EQ(two.table8[255], 255);
    const LevelsTable oneAndAHalf = redTable({0, 255, 0, 255, 150});
    EXPECT_EQ(beginning(oneAndAHalf, 5), (std::vector<int>{0, 3, 6, 8, 11}));
    EXPECT_EQ(oneAndAHalf.table8[23], 51);
}

TEST(LevelsTables, TablesAreMonotoneAndMeetTheirEndsForAnyGamma) {
    for (const int gamma : {1, 10, 50, 99, 101, 137, 300, 999, 32767}) {
        for (const LevelsEntry& entry :
             {LevelsEntry{0, 255, 0, 255, static_cast<std::uint16_t>(gamma)},
              LevelsEntry{17, 201, 3, 250, static_cast<std::uint16_t>(gamma)}}) {
            const LevelsTable table = redTable(entry);
            EXPECT_TRUE(std::ranges::is_sorted(table.table8)) << gamma;
            EXPECT_TRUE(std::ranges::is_sorted(table.table16)) << gamma;
            EXPECT_EQ(table.table8[entry.inputBlack], entry.outputBlack) << gamma;
            EXPECT_EQ(table.table8[entry.inputWhite], entry.outputWhite) << gamma;
            EXPECT_EQ(table.table16[4096], deepSample(entry.outputWhite)) << gamma;
        }
    }
}

TEST(LevelsTables, CompositeMergesIntoOneCurveWhereItCan) {
    const LevelsEntry composite = {0, 255, 0, 255, 150};
    const LevelsTable merged = redTable({0, 255, 0, 255, 200}, composite);
    const LevelsTable direct = redTable({0, 255, 0, 255, 300});
    EXPECT_EQ(merged.table8, direct.table8);
    EXPECT_EQ(merged.table16, direct.table16);
}

TEST(LevelsTables, CompositeIsComposedWhereOneCurveCannotSayBoth) {
    const LevelsEntry composite = {0, 255, 0, 255, 150};
    const LevelsEntry channel = {0, 255, 0, 250, 200};
    const LevelsTable composed = redTable(channel, composite);
    const LevelsTable first = redTable(channel);
    const LevelsTable second = redTable(composite);
    for (std::size_t x = 0; x < 256; ++x) {
        ASSERT_EQ(composed.table8[x], second.table8[first.table8[x]]);
    }
    for (std::size_t i = 0; i < 4096; ++i) {
        ASSERT_EQ(composed.table16[i], second.table16[first.table16[i] >> 3U]);
    }
    EXPECT_EQ(composed.table16[4096], deepSample(250)) << "white is not composed";
}

TEST(LevelsTables, ApplicationLeavesAlphaAndClampsDeepSamples) {
    // Four planes of three samples: white, more than white, and one between two table entries.
    std::vector<std::uint16_t> samples;
    for (int plane = 0; plane < 4; ++plane) {
        samples.insert(samples.end(), {32768, 40000, 1237});
    }
    PlanarImage image{.height = 1, .width = 3, .channelCount = 3, .rowBytes = 6, .bitDepth = 16};
    image.data = samples.data();
    applyLevels(image, {});
    EXPECT_EQ(samples, (std::vector<std::uint16_t>{32768, 40000, 1237, 32768, 32768, 1232, 32768,
                                                   32768, 1232, 32768, 32768, 1232}));
}

} // namespace
} // namespace tintwell
