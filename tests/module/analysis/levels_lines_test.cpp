#include "module/analysis/levels_lines.h"

#include <gtest/gtest.h>

namespace tintwell {
namespace {

constexpr OutputTargets kBlackToWhite = {{0, 0, 0}, {255, 255, 255}};

TEST(LevelsLines, ExtendsALineToTheBordersOfTheSquare) {
    struct Case {
        const char* what;
        LevelsLine line;
        LevelsLine expected;
    };

    const Case cases[] = {
        {"rising, leaves through the sides", {100, 100, 200, 150}, {0, 50, 255, 177.5}},
        {"rising, leaves through bottom and top", {100, 0, 150, 255}, {100, 0, 150, 255}},
        {"steep", {100, 50, 110, 150}, {95, 0, 120.5, 255}},
        {"falling is mirrored", {100, 150, 200, 100}, {0, 200, 255, 72.5}},
        {"ends keep their roles", {200, 150, 100, 100}, {255, 177.5, 0, 50}},
        {"upright", {100, 100, 100, 200}, {100, 0, 100, 255}},
        {"flat", {100, 80, 200, 80}, {0, 80, 255, 80}},
    };
    for (const Case& c : cases) {
        LevelsLine line = c.line;
        extendLevelsLine(line);
        EXPECT_DOUBLE_EQ(line.inputBlack, c.expected.inputBlack) << c.what;
        EXPECT_DOUBLE_EQ(line.outputBlack, c.expected.outputBlack) << c.what;
        EXPECT_DOUBLE_EQ(line.inputWhite, c.expected.inputWhite) << c.what;
        EXPECT_DOUBLE_EQ(line.outputWhite, c.expected.outputWhite) << c.what;
    }
}

TEST(LevelsLines, WidensInputsThatLieTooClose) {
    // Dark and light colour two levels apart in red: {100, 102} becomes {99, 103}.
    ToneSearchContext context({});
    context.hasDarkColor = context.hasLightColor = true;
    context.darkColor = {100, 50, 50};
    context.lightColor = {102, 200, 200};
    LevelsPairs pairs;
    solveLevelsLines(pairs, context, {{{100, 102}, {50, 200}, {50, 200}}}, kBlackToWhite, 4);
    EXPECT_EQ(pairs.black[1], (LevelsPair{99, 0}));
    EXPECT_EQ(pairs.white[1], (LevelsPair{103, 255}));
    EXPECT_EQ(pairs.black[2], (LevelsPair{50, 0}));
}

} // namespace
} // namespace tintwell
