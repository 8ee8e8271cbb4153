#include "tool/preview/preview_picture.h"

#include "tool/preview/frame_image.h"
#include "tool/preview/histogram_chart.h"
#include "tool/preview/text.h"

#include <algorithm>
#include <cmath>

namespace tintwell::preview {
namespace {

constexpr int kMargin = 16;
constexpr int kTitleHeight = 24;
constexpr int kLabelHeight = 24;
constexpr int kLegendHeight = 22;
constexpr int kLeastColumn = 256 + 2 * HistogramChart::kSideRoom;
static_assert(kLeastWidth == 2 * kLeastColumn + 3 * kMargin);

// Greys only, so that nothing beside the pictures tints what the eye makes of them.
constexpr Color kGround = 0x222222;
constexpr Color kTitleColor = 0xFFFFFF;
constexpr Color kFaintColor = 0x9A9A9A;

constexpr double kTitleSize = 15.0;
constexpr double kLabelSize = 13.0;
constexpr double kTextSize = 12.0;

/// What fits into the room, no larger than it is.
Size fitted(const Size& size, double width, double height) {
    const double scale = std::min({1.0, width / size.width, height / size.height});
    const auto scaled = [scale](int side) {
        return std::max(1, static_cast<int>(std::lround(side * scale)));
    };
    return {scaled(size.width), scaled(size.height)};
}

void drawDivider(Canvas& canvas, const Box& box) {
    const int x = box.x + box.width / 2;
    canvas.fill({x - 2, box.y, 4, box.height}, 0x000000, 0.5);
    canvas.fill({x - 1, box.y, 2, box.height}, 0xFFFFFF);
}

void drawPictures(Canvas& canvas, const inspect::InspectedFrame& frame, const PreviewLayout& layout,
                  bool split) {
    FrameImage(frame.before, frame.clip).draw(canvas, layout.before);
    if (split) {
        const Box& box = layout.after;
        const int left = box.width / 2;
        cairo_rectangle(canvas.context(), box.x + left, box.y, box.width - left, box.height);
        cairo_clip(canvas.context());
    }
    FrameImage(frame.after, frame.clip).draw(canvas, layout.after);
    cairo_reset_clip(canvas.context());
    if (split) {
        drawDivider(canvas, layout.after);
    }
}

void drawColumn(Canvas& canvas, const Box& chart, const HistogramChart& histogram,
                const char* label, const char* legend) {
    Text(label, kLabelSize, Weight::Bold)
        .draw(canvas, chart.x, kMargin + kTitleHeight, kTitleColor);
    histogram.draw(canvas, chart);
    Text(legend, kTextSize).draw(canvas, chart.x, chart.bottom(), kFaintColor);
}

void drawHistograms(Canvas& canvas, const inspect::InspectedFrame& frame,
                    const PreviewLayout& layout) {
    std::array<LevelMarks, 3> inputs;
    std::array<LevelMarks, 3> outputs;
    for (std::size_t c = 0; c < inputs.size(); ++c) {
        inputs[c] = inputMarks(frame.findings.smoothed.entries[c + 1]);
        outputs[c] = outputMarks(frame.findings.smoothed.entries[c + 1]);
    }
    drawColumn(canvas, layout.histogramBefore, {frame.findings.histogram, inputs}, "Before",
               "Input levels: black, middle (gamma), white");
    drawColumn(canvas, layout.histogramAfter, {frame.histogramAfter, outputs}, "After",
               "Output levels: black, middle, white");
}

} // namespace

PreviewLayout layoutOf(const media::ClipInfo& info, const PreviewOptions& options) {
    const int pictureRoom =
        options.split ? options.width - 2 * kMargin : (options.width - 3 * kMargin) / 2;
    const Size size = fitted(shownSize(info), pictureRoom, options.width * 9.0 / 16.0);
    const int columnRoom = options.split ? (size.width - kMargin + 1) / 2 : size.width;
    const int column = std::max(kLeastColumn, columnRoom);
    const int top = kMargin + kTitleHeight + kLabelHeight;
    const int second = 2 * kMargin + column;
    PreviewLayout layout;
    layout.width = 2 * column + 3 * kMargin;
    if (options.split) {
        layout.before = {(layout.width - size.width) / 2, top, size.width, size.height};
        layout.after = layout.before;
    } else {
        const int inset = (column - size.width) / 2;
        layout.before = {kMargin + inset, top, size.width, size.height};
        layout.after = {second + inset, top, size.width, size.height};
    }
    const int charts = layout.before.bottom() + kMargin;
    layout.histogramBefore = {kMargin, charts, column, HistogramChart::kHeight};
    layout.histogramAfter = {second, charts, column, HistogramChart::kHeight};
    layout.height = layout.histogramBefore.bottom() + kLegendHeight + kMargin;
    return layout;
}

Canvas drawPreview(const inspect::InspectedFrame& frame, const PreviewOptions& options) {
    const PreviewLayout layout = layoutOf(frame.clip, options);
    const int room = layout.width - 2 * kMargin;
    std::vector<Text> caption;
    int captionHeight = 0;
    for (const std::string& paragraph : options.caption) {
        caption.emplace_back(paragraph, kTextSize, Weight::Normal, room, Overflow::Wrap);
        captionHeight += caption.back().height();
    }
    const bool hasCaption = !caption.empty();
    Canvas canvas(layout.width, layout.height + captionHeight + (hasCaption ? kMargin : 0));
    canvas.fill({0, 0, layout.width, layout.height + captionHeight + kMargin}, kGround);
    Text(options.title, kTitleSize, Weight::Bold, room, Overflow::Elide)
        .draw(canvas, kMargin, kMargin - 6, kTitleColor);
    drawPictures(canvas, frame, layout, options.split);
    drawHistograms(canvas, frame, layout);
    int y = layout.height;
    for (const Text& text : caption) {
        text.draw(canvas, kMargin, y, kTextColor);
        y += text.height();
    }
    return canvas;
}

} // namespace tintwell::preview
