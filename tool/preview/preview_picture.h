#pragma once

#include "inspect/clip_walk.h"
#include "tool/preview/canvas.h"

#include <string>
#include <vector>

namespace tintwell::preview {

inline constexpr int kLeastWidth = 624; ///< below it the histograms would lose levels
inline constexpr int kGreatestWidth = 16384;

struct PreviewOptions {
    int width = 1600;   ///< of the whole, at most; kLeastWidth..kGreatestWidth
    bool split = false; ///< the left half before and the right half after, in one picture
    std::string title;
    std::vector<std::string> caption; ///< paragraphs under the histograms
};

/// Where the frame is drawn, before and after. Both are as large as players show it unless it must
/// be made smaller, and are the same box where the picture is split.
struct PreviewLayout {
    Box before;
    Box after;
    Box histogramBefore;
    Box histogramAfter;
    int width = 0;
    int height = 0; ///< without the caption
};

PreviewLayout layoutOf(const media::ClipInfo& info, const PreviewOptions& options);

/// The frame before and after its correction, with the histograms and the levels that make the one
/// the other. Throws std::runtime_error when there is no memory for the picture.
Canvas drawPreview(const inspect::InspectedFrame& frame, const PreviewOptions& options);

} // namespace tintwell::preview
