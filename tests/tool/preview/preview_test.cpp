// The preview's picture shows what the decoder and a render give, and the levels that analyze
// tells.

#include "inspect/level_curves.h"
#include "tool/preview/histogram_chart.h"
#include "tool/preview/preview_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <sstream>

namespace tintwell::preview {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;

media::ClipInfo clipOf(int width, int height) {
    media::ClipInfo info;
    info.width = width;
    info.height = height;
    return info;
}

/// An opaque gradient within 30..157, or a transparent frame of 16 bits.
host::FrameBuffer gradient(bool opaque) {
    host::FrameBuffer frame(kWidth, kHeight,
                            opaque ? host::SampleDepth::Bits8 : host::SampleDepth::Bits16);
    for (int y = 0; opaque && y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const int levels[] = {255, 30 + 2 * x, 40 + x * x / 64, 60 + y};
            for (int c = 0; c < 4; ++c) {
                frame.row(y)[4 * x + c] = static_cast<std::byte>(levels[c]);
            }
        }
    }
    return frame;
}

/// A correction with other levels for each channel, and a gamma.
inspect::InspectedFrame inspected(bool opaque = true) {
    inspect::FrameFindings findings;
    findings.smoothed.entries[1] = {30, 156, 0, 255, 100};
    findings.smoothed.entries[2] = {40, 103, 12, 243, 130};
    findings.smoothed.entries[3] = {60, 107, 250, 20, 70};
    host::FrameBuffer before = gradient(opaque);
    host::FrameBuffer after(kWidth, kHeight, before.depth());
    findings.histogram = inspect::histogramOf(before);
    inspect::correctPixels(findings, before, after);
    const ChannelHistogram histogramAfter = inspect::histogramOf(after);
    return {std::move(findings), std::move(before),       std::move(after),
            histogramAfter,      clipOf(kWidth, kHeight), {}};
}

/// The picture as its file holds it.
class Png {
public:
    explicit Png(const Canvas& canvas) {
        std::stringstream file;
        canvas.writePng(file);
        const auto read = [](void* from, unsigned char* to, unsigned int count) {
            auto& stream = *static_cast<std::stringstream*>(from);
            return stream.read(reinterpret_cast<char*>(to), count) ? CAIRO_STATUS_SUCCESS
                                                                   : CAIRO_STATUS_READ_ERROR;
        };
        surface_.reset(cairo_image_surface_create_from_png_stream(read, &file));
        checkStatus(cairo_surface_status(surface_.get()));
    }

    Color at(int x, int y) const {
        Color color = 0;
        const auto* row = cairo_image_surface_get_data(surface_.get()) +
                          std::ptrdiff_t{y} * cairo_image_surface_get_stride(surface_.get());
        std::memcpy(&color, row + std::ptrdiff_t{4} * x, sizeof color);
        return color & 0xFFFFFF;
    }

private:
    SurfacePtr surface_;
};

Color colorOf(const host::FrameBuffer& frame, int x, int y) {
    const auto level = [&](int c) { return std::to_integer<Color>(frame.row(y)[4 * x + c]); };
    return level(1) << 16 | level(2) << 8 | level(3);
}

TEST(PreviewPicture, ShowsTheFramesPixelByPixel) {
    const inspect::InspectedFrame frame = inspected();
    for (const bool split : {false, true}) {
        PreviewOptions options;
        options.split = split;
        options.title = "odd\n\xff name";
        const PreviewLayout layout = layoutOf(frame.clip, options);
        const Png png(drawPreview(frame, options));
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const bool isDivider = split && std::abs(2 * x + 1 - kWidth) < 4;
                if (!isDivider && (!split || x < kWidth / 2)) {
                    EXPECT_EQ(png.at(layout.before.x + x, layout.before.y + y),
                              colorOf(frame.before, x, y));
                }
                if (!isDivider && (!split || x >= kWidth / 2)) {
                    EXPECT_EQ(png.at(layout.after.x + x, layout.after.y + y),
                              colorOf(frame.after, x, y));
                }
            }
        }
    }
}

TEST(PreviewPicture, MarksStandAtTheLevelsAndCurvesAtTheCounts) {
    const inspect::InspectedFrame frame = inspected();
    const PreviewLayout layout = layoutOf(frame.clip, {});
    const Png png(drawPreview(frame, {}));
    const inspect::LevelCurves curves = inspect::curvesOf(frame.findings.smoothed);
    for (std::size_t c = 0; c < 3; ++c) {
        const LevelsEntry& levels = frame.findings.smoothed.entries[c + 1];
        const auto marked = [&](const Box& chart) {
            const Box plot = HistogramChart::plotOf(chart, c);
            std::vector<int> found;
            for (int level = 0; level < 256; ++level) {
                if (png.at(plot.x + level, plot.y) == HistogramChart::kMarkColor) {
                    found.push_back(level);
                }
            }
            return found;
        };
        const std::vector<int> inputs = marked(layout.histogramBefore);
        ASSERT_EQ(inputs.size(), 3U);
        EXPECT_EQ(inputs[0], levels.inputBlack);
        EXPECT_EQ(inputs[2], levels.inputWhite);
        const int low = std::min<int>(levels.outputBlack, levels.outputWhite);
        const int high = std::max<int>(levels.outputBlack, levels.outputWhite);
        const int middle = (low + high + 1) / 2;
        EXPECT_NEAR(curves[c][static_cast<std::size_t>(inputs[1])], middle, 5);
        EXPECT_EQ(marked(layout.histogramAfter), (std::vector<int>{low, middle, high}));
    }
}

TEST(PreviewPicture, BarsAreAsHighAsTheRootsOfTheCounts) {
    const inspect::InspectedFrame frame = inspected();
    const PreviewLayout layout = layoutOf(frame.clip, {});
    const Png png(drawPreview(frame, {}));
    std::array<std::array<int, 256>, 3> counts{};
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const Color color = colorOf(frame.before, i % kWidth, i / kWidth);
        for (const int c : {0, 1, 2}) {
            ++counts[static_cast<std::size_t>(c)][color >> (16 - 8 * c) & 0xFF];
        }
    }
    int most = 0;
    for (const auto& channel : counts) {
        most = std::max(most, *std::max_element(channel.begin(), channel.end()));
    }
    for (std::size_t c = 0; c < 3; ++c) {
        const Box plot = HistogramChart::plotOf(layout.histogramBefore, c);
        const auto marks = inputMarks(frame.findings.smoothed.entries[c + 1]);
        const auto isDrawn = [&](int x, int y) { return (png.at(x, y) & 0xE0E0E0U) != 0; };
        for (int level = 0; level < 256; ++level) {
            const int column = plot.x + level;
            bool marked = false;
            for (const double mark : {marks.black, marks.middle, marks.white}) {
                marked = marked || HistogramChart::columnOf(plot, mark) == column;
            }
            int height = 0;
            while (height < plot.height && isDrawn(column, plot.bottom() - 1 - height)) {
                ++height;
            }
            const double share = counts[c][static_cast<std::size_t>(level)] / double(most);
            EXPECT_TRUE(marked || std::abs(height - std::sqrt(share) * plot.height) < 1.0)
                << c << ": " << level << ", " << height;
        }
    }
}

TEST(PreviewPicture, TransparentFramesShowACheckerboard) {
    const inspect::InspectedFrame frame = inspected(false);
    const PreviewLayout layout = layoutOf(frame.clip, {});
    const Png png(drawPreview(frame, {}));
    EXPECT_EQ(png.at(layout.before.x, layout.before.y), 0x666666U);
    EXPECT_EQ(png.at(layout.before.x + 8, layout.before.y), 0x999999U);
}

TEST(PreviewPicture, FramesAreShownAsPlayersShowThemAndFit) {
    struct Case {
        int width, height;
        AVRational aspect;
        double rotation;
        bool split;
        int shownWidth, shownHeight;
    };

    for (const Case& c : std::vector<Case>{{3840, 2160, {0, 1}, 0, false, 776, 437},
                                           {3840, 2160, {0, 1}, 0, true, 1568, 882},
                                           {1080, 1920, {1, 1}, 0, false, 506, 900},
                                           {1920, 1080, {1, 1}, -90, false, 506, 900},
                                           {720, 576, {64, 45}, 0, true, 1024, 576},
                                           {720, 480, {8, 9}, 180, true, 720, 540},
                                           {1, 32767, {0, 1}, 0, false, 1, 900},
                                           {32767, 1, {0, 1}, 0, false, 776, 1}}) {
        media::ClipInfo info = clipOf(c.width, c.height);
        info.sampleAspectRatio = c.aspect;
        info.rotation = c.rotation;
        PreviewOptions options;
        options.split = c.split;
        const PreviewLayout layout = layoutOf(info, options);
        EXPECT_EQ(layout.after.width, c.shownWidth) << c.width;
        EXPECT_EQ(layout.after.height, c.shownHeight) << c.width;
        EXPECT_LE(layout.width, options.width);
        EXPECT_GE(layout.histogramAfter.right(), layout.after.right());
    }
}

} // namespace
} // namespace tintwell::preview
