#include "module/apply/levels_application.h"
#include "module/apply/levels_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
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

/// Any number a record can hold, those that matter more often than not.
LevelsEntry anyEntry(std::mt19937& random) {
    constexpr std::uint16_t kLevels[] = {0, 1, 2, 127, 128, 254, 255, 256, 32767, 32768, 65535};
    constexpr std::uint16_t kGammas[] = {0, 1, 9, 10, 50, 99, 101, 999, 32767, 32768, 65535};
    const auto level = [&] {
        return random() % 3 == 0 ? kLevels[random() % std::size(kLevels)]
                                 : static_cast<std::uint16_t>(random() % 256);
    };
    const std::uint16_t gammas[] = {100, kGammas[random() % std::size(kGammas)],
                                    static_cast<std::uint16_t>(random() % 1100)};
    LevelsEntry entry = {level(), level(), level(), level(), gammas[random() % 3]};
    if (random() % 2 == 0) {
        entry.inputBlack = entry.outputBlack = 0;
        entry.inputWhite = entry.outputWhite = 255;
    }
    return entry;
}

bool isFalling(const LevelsEntry& entry) {
    return std::min<int>(entry.outputBlack, 255) > std::min<int>(entry.outputWhite, 255);
}

/// Whether no sample turns back by more than `slack`.
template <class Table>
bool isMonotone(const Table& table, std::size_t size, bool falling, int slack) {
    const auto turns = [&](int a, int b) { return falling ? b > a + slack : b < a - slack; };
    const std::span samples(table.data(), size);
    return std::ranges::adjacent_find(samples, turns) == samples.end();
}

TEST(LevelsTables, TablesOfAnyRecordAreMonotoneAndMeetTheirEnds) {
    std::mt19937 random(19);
    for (int round = 0; round < 2000; ++round) {
        const LevelsEntry entry = anyEntry(random);
        const LevelsEntry composite = round % 2 == 0 ? LevelsEntry{} : anyEntry(random);
        SCOPED_TRACE("round " + std::to_string(round) + ", gammas " + std::to_string(entry.gamma) +
                     " " + std::to_string(composite.gamma));
        const LevelsTable table = redTable(entry, composite);
        const bool falling = isFalling(entry) != isFalling(composite);
        EXPECT_TRUE(isMonotone(table.table8, 256, falling, 0));
        // Falling curves are rounded down, their ends too.
        const bool isRoundedDown = (isFalling(entry) && entry.gamma != 100) ||
                                   (isFalling(composite) && composite.gamma != 100);
        // White is not composed, so it may stand apart.
        const bool isComposed = composite != LevelsEntry{};
        if (!isComposed || !isRoundedDown) {
            EXPECT_TRUE(isMonotone(table.table16, isComposed ? 4096 : 4097, falling,
                                   isRoundedDown ? 1 : 0));
        }
        EXPECT_LE(std::ranges::max(table.table16), 32768);
        if (!isComposed && entry.gamma != 0 && entry.inputBlack < entry.inputWhite &&
            entry.inputWhite <= 255) {
            const int black = std::min<int>(entry.outputBlack, 255);
            const int white = std::min<int>(entry.outputWhite, 255);
            EXPECT_EQ(table.table8[entry.inputBlack], black);
            EXPECT_EQ(table.table8[entry.inputWhite], white);
            EXPECT_NEAR(table.table16[0], deepSample(black), isRoundedDown ? 1 : 0);
            EXPECT_NEAR(table.table16[4096], deepSample(white), isRoundedDown ? 1 : 0);
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
