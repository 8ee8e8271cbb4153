#include "tool/preview/histogram_chart.h"

#include "tool/preview/text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace tintwell::preview {
namespace {

constexpr int kLaneHeight = HistogramChart::kHeight / 3;
constexpr int kPlotHeight = 58;
constexpr double kMarkHeight = 8.0;
constexpr double kTextSize = 11.0;
constexpr double kTextGap = 5.0;
constexpr double kLevels = 256.0;

constexpr Color kPlotColor = 0x101010;
constexpr double kOutsideOpacity = 0.55; ///< of the veil over what lies beyond black and white

struct Lane {
    const char* letter;
    Color color;
};

/// Of about the same lightness on a dark ground.
constexpr std::array<Lane, 3> kLanes{{{"R", 0xE8686C}, {"G", 0x4FB364}, {"B", 0x6C9BF5}}};

struct Mark {
    double level;
    Color fill; ///< of its triangle: the three are told apart by their greys and their order
    bool dashed;
    std::string text;
};

std::string levelText(double level) {
    return std::to_string(std::lround(level));
}

std::array<Mark, 3> marksOf(const LevelMarks& marks) {
    return {{{marks.black, 0x000000, false, levelText(marks.black)},
             {marks.middle, 0x808080, true, marks.middleText},
             {marks.white, 0xFFFFFF, false, levelText(marks.white)}}};
}

void drawMark(Canvas& canvas, const Box& plot, const Mark& mark) {
    constexpr double kHalfWidth = 5.0;
    constexpr double kDash = 3.0;
    cairo_t* const context = canvas.context();
    const double x = HistogramChart::columnOf(plot, mark.level) + 0.5;
    cairo_set_line_width(context, 1.0);
    canvas.setColor(HistogramChart::kMarkColor);
    cairo_set_dash(context, &kDash, mark.dashed ? 1 : 0, 0.0);
    cairo_move_to(context, x, plot.y);
    cairo_line_to(context, x, plot.bottom());
    cairo_stroke(context);
    cairo_set_dash(context, nullptr, 0, 0.0);
    cairo_move_to(context, x, plot.bottom() + 0.5);
    cairo_line_to(context, x + kHalfWidth, plot.bottom() + kMarkHeight);
    cairo_line_to(context, x - kHalfWidth, plot.bottom() + kMarkHeight);
    cairo_close_path(context);
    canvas.setColor(mark.fill);
    cairo_fill_preserve(context);
    canvas.setColor(HistogramChart::kMarkColor);
    cairo_stroke(context);
}

/// The texts under their marks, moved aside where they would touch.
void drawMarkTexts(Canvas& canvas, const Box& plot, std::array<Mark, 3> marks) {
    std::stable_sort(marks.begin(), marks.end(),
                     [](const Mark& a, const Mark& b) { return a.level < b.level; });
    std::vector<Text> texts;
    std::vector<double> lefts;
    double next = plot.x - HistogramChart::kSideRoom;
    for (const Mark& mark : marks) {
        if (mark.text.empty()) {
            continue;
        }
        texts.emplace_back(mark.text, kTextSize);
        const int width = texts.back().width();
        lefts.push_back(
            std::max(next, HistogramChart::columnOf(plot, mark.level) + 0.5 - width / 2.0));
        next = lefts.back() + width + kTextGap;
    }
    double end = plot.right() + HistogramChart::kSideRoom;
    for (std::size_t i = texts.size(); i-- > 0;) {
        lefts[i] = std::round(std::min(lefts[i], end - texts[i].width()));
        end = lefts[i] - kTextGap;
        texts[i].draw(canvas, lefts[i], plot.bottom() + kMarkHeight + 1.0, kTextColor);
    }
}

} // namespace

LevelMarks inputMarks(const LevelsEntry& levels) {
    const double gamma = levels.gamma / 100.0;
    const double middle =
        levels.inputBlack + (levels.inputWhite - levels.inputBlack) * std::pow(0.5, gamma);
    char text[24];
    std::snprintf(text, sizeof text, "\u03b3 %.2f", gamma);
    return {static_cast<double>(levels.inputBlack), middle, static_cast<double>(levels.inputWhite),
            text};
}

LevelMarks outputMarks(const LevelsEntry& levels) {
    return {static_cast<double>(levels.outputBlack),
            (levels.outputBlack + levels.outputWhite) / 2.0,
            static_cast<double>(levels.outputWhite), ""};
}

Box HistogramChart::plotOf(const Box& box, std::size_t channel) {
    return {box.x + kSideRoom, box.y + static_cast<int>(channel) * kLaneHeight,
            box.width - 2 * kSideRoom, kPlotHeight};
}

int HistogramChart::columnOf(const Box& plot, double level) {
    const double middle = plot.x + (std::clamp(level, 0.0, 255.0) + 0.5) * plot.width / kLevels;
    return static_cast<int>(std::floor(middle));
}

HistogramChart::HistogramChart(const ChannelHistogram& histogram,
                               const std::array<LevelMarks, 3>& marks)
    : histogram_(histogram), marks_(marks) {
    for (std::size_t c = 1; c <= kLanes.size(); ++c) {
        scale_.include(histogram.channels[c]);
    }
}

void HistogramChart::draw(Canvas& canvas, const Box& box) const {
    for (std::size_t c = 0; c < kLanes.size(); ++c) {
        const Box plot = plotOf(box, c);
        canvas.fill(plot, kPlotColor);
        drawCurve(canvas, plot, c);
        const auto [low, high] = std::minmax(marks_[c].black, marks_[c].white);
        const int left = columnOf(plot, low);
        const int right = columnOf(plot, high) + 1;
        canvas.fill({plot.x, plot.y, left - plot.x, plot.height}, kPlotColor, kOutsideOpacity);
        canvas.fill({right, plot.y, plot.right() - right, plot.height}, kPlotColor,
                    kOutsideOpacity);
        Text(kLanes[c].letter, kTextSize, Weight::Bold)
            .draw(canvas, box.x, plot.y, kLanes[c].color);
        const std::array<Mark, 3> marks = marksOf(marks_[c]);
        for (const Mark& mark : marks) {
            drawMark(canvas, plot, mark);
        }
        drawMarkTexts(canvas, plot, marks);
    }
}

void HistogramChart::drawCurve(Canvas& canvas, const Box& plot, std::size_t channel) const {
    const LevelCounts& counts = histogram_.channels[channel + 1];
    const double width = plot.width / kLevels;
    cairo_t* const context = canvas.context();
    cairo_move_to(context, plot.x, plot.bottom());
    for (std::size_t level = 0; level < counts.size(); ++level) {
        const double y = plot.bottom() - scale_.heightOf(counts[level]) * plot.height;
        cairo_line_to(context, plot.x + static_cast<double>(level) * width, y);
        cairo_line_to(context, plot.x + static_cast<double>(level + 1) * width, y);
    }
    cairo_line_to(context, plot.right(), plot.bottom());
    canvas.setColor(kLanes[channel].color);
    cairo_fill(context);
}

} // namespace tintwell::preview
