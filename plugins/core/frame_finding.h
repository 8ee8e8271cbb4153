#pragma once

// Finds levels in a host's frame: the first half, which knows nothing of how they are applied.

#include "module/apply/levels_record.h"
#include "module/counting/analysis_key.h"
#include "module/counting/channel_histogram.h"
#include "module/frame/analysis_controls.h"
#include "plugins/core/host_frame.h"

#include <cstddef>
#include <vector>

namespace tintwell::plugins {

/// What is found of a frame by itself, as plain data.
struct FrameFinding {
    LevelsRecord levels;
    ChannelHistogram histogram; ///< what neighbours are compared by
};

/// A frame in the form that the module analyses, whatever the host's was. Takes as much memory as
/// the frame has at 8 or 16 bits a sample.
class AnalyzedPixels {
public:
    /// Throws std::bad_alloc. Does not keep the frame.
    explicit AnalyzedPixels(const SourceFrame& frame);

    /// The key of all that a search looks at, made with a secret that may be null.
    AnalysisKey key(const KeySecret* secret) const;

    /// Throws std::bad_alloc.
    FrameFinding find(const AnalysisControls& controls) const;

private:
    PixelView view() const;

    std::int32_t width_;
    std::int32_t height_;
    int bitDepth_;
    std::vector<std::byte> pixels_;
};

} // namespace tintwell::plugins
