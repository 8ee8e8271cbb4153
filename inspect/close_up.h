#pragma once

#include "host/frame_buffer.h"
#include "inspect/film_strip.h"
#include "inspect/frame_findings.h"
#include "media/clip_info.h"
#include "media/color/thumbnail.h"
#include "module/counting/channel_histogram.h"

#include <cstdint>
#include <optional>

namespace tintwell::inspect {

/// One frame with its histograms, counted over all its pixels.
struct FrameCloseUp {
    FramePair pair;
    FrameFindings findings;
    ChannelHistogram before;
    ChannelHistogram after; ///< as rendered
};

/// Looks at one frame on the way through a clip: the wanted one, or the first where the clip turns
/// out not to have it. For one thread at a time.
class CloseUp {
public:
    CloseUp(const media::ClipInfo& info, host::SampleDepth depth, std::int64_t wanted);

    /// The frames in order.
    void take(std::int64_t frame, const host::FrameBuffer& pixels);

    /// Their findings, in order.
    void add(const FrameFindings& findings);

    /// Complete at the end of the clip; empty where it had no frames.
    const std::optional<FrameCloseUp>& frame() const { return closeUp_; }

private:
    struct Kept {
        std::int64_t frame;
        host::FrameBuffer pixels;
        host::FrameBuffer thumbnail;
    };

    media::ThumbnailMaker thumbnails_;
    std::int64_t wanted_;
    std::optional<Kept> kept_;
    std::optional<FrameCloseUp> closeUp_;
};

} // namespace tintwell::inspect
