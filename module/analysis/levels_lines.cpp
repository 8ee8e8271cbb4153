// Turns a dark colour, a light colour and the clip points into one straight line per channel. On a
// scale where the dark colour is 0 and the light colour 255, the lowest of all clip points goes
// exactly to its black target and the highest to its white target; the dark and the light colour
// then lie on the way between the targets, so that a cast in either is removed while the three
// channels share one stretch.

#include "module/analysis/levels_lines.h"

#include "module/numeric/level_scale.h"
#include "module/numeric/rounding.h"

#include <algorithm>
#include <utility>

namespace tintwell {
namespace {

/// Below this ratio of rise to run (or run to rise) a line counts as flat (or upright).
constexpr double kNegligible = 0.000001;

struct Point {
    double input;
    double output;
};

/// The rising case: left.input <= right.input and left.output <= right.output.
void extendRisingLine(Point& left, Point& right) {
    const double dy = right.output - left.output;
    const double dx = right.input - left.input;
    if (kNegligible * dy > dx) {
        left.output = 0.0;
        right.output = kTopLevel;
        return;
    }
    if (kNegligible * dx > dy) {
        left.input = 0.0;
        right.input = kTopLevel;
        return;
    }
    const double slope = dy / dx;
    const double outputAtBlack = left.output - slope * left.input;
    const double outputAtWhite = left.output + slope * (kTopLevel - left.input);
    const Point start = left;
    left = outputAtBlack < 0.0 ? Point{start.input - start.output / slope, 0.0}
                               : Point{0.0, outputAtBlack};
    right = outputAtWhite > kTopLevel
                ? Point{start.input + (kTopLevel - start.output) / slope, kTopLevel}
                : Point{kTopLevel, outputAtWhite};
}

/// How far along the way from the black to the white targets the two colours land.
struct Stretch {
    double atBlack; ///< the dark colour
    double atWhite; ///< the light colour
};

Stretch sharedStretch(const Rgb& dark, const Rgb& light, const std::array<ClipPoints, 3>& points) {
    std::array<double, 6> positions{};
    for (std::size_t c = 0; c < 3; ++c) {
        const double scale = kTopLevel / (light[c] - dark[c]);
        positions[c] = (points[c].low - dark[c]) * scale;
        positions[c + 3] = (points[c].high - dark[c]) * scale;
    }
    double lowest = positions[0];
    double highest = positions[0];
    for (const double position : positions) {
        lowest = position < lowest ? position : lowest;
        highest = position > highest ? position : highest;
    }
    const double span = highest - lowest;
    return {-lowest / span, (kTopLevel - lowest) / span};
}

Rgb grey(double level) {
    return {level, level, level};
}

Rgb darkEnd(const ToneSearchContext& context, const std::array<ClipPoints, 3>& points) {
    return context.hasDarkColor ? context.darkColor
                                : grey(std::min({points[0].low, points[1].low, points[2].low}));
}

Rgb lightEnd(const ToneSearchContext& context, const std::array<ClipPoints, 3>& points) {
    return context.hasLightColor ? context.lightColor
                                 : grey(std::max({points[0].high, points[1].high, points[2].high}));
}

LevelsPair toPair(double input, double output) {
    return {nearestLevel(input), nearestLevel(output)};
}

/// The end of a line through (input, output) at the border level `border` of the inputs (0 or 255);
/// where the line leaves through the top or bottom before, the end is there.
LevelsPair borderPoint(double input, double output, double slope, double border) {
    const double y = border == 0.0 ? output - input * slope : (border - input) * slope + output;
    if (y >= 0.0 && y <= kTopLevel) {
        return toPair(border, y);
    }
    const bool leavesAtTop = (border == 0.0) == (slope <= 0.0);
    return leavesAtTop ? toPair(input + (kTopLevel - output) / slope, kTopLevel)
                       : toPair(input - output / slope, 0.0);
}

void widenInputs(LevelsPair& blackPair, LevelsPair& whitePair, int minimumSpan) {
    int black = blackPair.input;
    int white = whitePair.input;
    const int deficit = minimumSpan + black - white;
    white += deficit / 2;
    black -= (deficit + 1) / 2;
    const int aboveTop = std::max(0, white - kTopLevel);
    white -= aboveTop;
    black -= aboveTop;
    const int belowZero = std::max(0, -black);
    white += belowZero;
    black += belowZero;

    const double blackOutput = blackPair.output;
    const double whiteOutput = whitePair.output;
    const double slope = (whiteOutput - blackOutput) / (white - black);
    blackPair = borderPoint(black, blackOutput, slope, 0.0);
    whitePair = borderPoint(white, whiteOutput, slope, kTopLevel);
}

} // namespace

void extendLevelsLine(LevelsLine& line) {
    Point left = {line.inputBlack, line.outputBlack};
    Point right = {line.inputWhite, line.outputWhite};
    const bool swapped = right.input < left.input;
    if (swapped) {
        std::swap(left, right);
    }
    const bool falling = left.output > right.output;
    const auto mirror = [&] {
        left.output = kTopLevel - left.output;
        right.output = kTopLevel - right.output;
    };
    if (falling) {
        mirror();
    }
    extendRisingLine(left, right);
    if (falling) {
        mirror();
    }
    if (swapped) {
        std::swap(left, right);
    }
    line = {left.input, left.output, right.input, right.output};
}

void solveLevelsLines(LevelsPairs& pairs, const ToneSearchContext& context,
                      const std::array<ClipPoints, 3>& clipPoints, const OutputTargets& targets,
                      int minimumSpan) {
    const Rgb dark = darkEnd(context, clipPoints);
    const Rgb light = lightEnd(context, clipPoints);
    const Stretch stretch = sharedStretch(dark, light, clipPoints);
    pairs = LevelsPairs{};
    for (std::size_t c = 0; c < 3; ++c) {
        const double range = targets.white[c] - targets.black[c];
        LevelsLine line = {dark[c], targets.black[c] + range * stretch.atBlack, light[c],
                           targets.black[c] + range * stretch.atWhite};
        extendLevelsLine(line);
        LevelsPair& black = pairs.black[c + 1];
        LevelsPair& white = pairs.white[c + 1];
        black = toPair(line.inputBlack, line.outputBlack);
        white = toPair(line.inputWhite, line.outputWhite);
        if (white.input - black.input < minimumSpan) {
            widenInputs(black, white, minimumSpan);
        }
    }
}

} // namespace tintwell
