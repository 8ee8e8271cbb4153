#pragma once

#include "inspect/histogram_scale.h"
#include "module/apply/levels_record.h"
#include "module/counting/channel_histogram.h"
#include "tool/preview/canvas.h"

#include <array>
#include <string>

namespace tintwell::preview {

/// Where the levels of one channel lie, 0..255.
struct LevelMarks {
    double black = 0.0;
    double middle = 0.0; ///< what becomes the middle between the outputs, and that middle
    double white = 255.0;
    std::string middleText; ///< under the middle's mark; the others have their levels there
};

LevelMarks inputMarks(const LevelsEntry& levels);
LevelMarks outputMarks(const LevelsEntry& levels);

/// Red, green and blue one below the other, each with its marks under it.
class HistogramChart {
public:
    static constexpr int kHeight = 270;
    static constexpr int kSideRoom = 16; ///< left and right of the curves, which fill the rest
    static constexpr Color kMarkColor = 0xF2F2F2;

    HistogramChart(const ChannelHistogram& histogram, const std::array<LevelMarks, 3>& marks);

    /// The box is kHeight high.
    void draw(Canvas& canvas, const Box& box) const;

    /// Where the curve of a channel is drawn in the box.
    static Box plotOf(const Box& box, std::size_t channel);

    /// The column of pixels in which a level's mark stands.
    static int columnOf(const Box& plot, double level);

private:
    void drawCurve(Canvas& canvas, const Box& plot, std::size_t channel) const;

    const ChannelHistogram& histogram_;
    const std::array<LevelMarks, 3>& marks_;
    inspect::HistogramScale scale_; ///< one for all channels
};

} // namespace tintwell::preview
