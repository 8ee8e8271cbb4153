#pragma once

#include "host/frame_buffer.h"
#include "media/neighbours/frame_window.h"
#include "media/neighbours/neighbour_source.h"
#include "media/read/clip_reader.h"
#include "tool/values/render_options.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tintwell::tool {

/// Where a rendering takes the frames beside the current one from: nowhere without smoothing, from
/// the pictures that the one reader delivers where enough of them can be kept, and otherwise from a
/// second reading of the input.
class Neighbours {
public:
    /// Before the reader's first read. Throws UserError where the smoothing needs more pictures
    /// than can be kept of an input that can be read only once, and MediaError where it cannot be
    /// opened again.
    Neighbours(const ClipOptions& options, media::ClipReader& reader, host::SampleDepth depth);

    /// Null without smoothing. Lives as long as this object.
    media::NeighbourSource* source() const { return source_.get(); }

    /// On how many frames to each side of a frame its correction may depend; 0 without smoothing.
    std::int64_t reach() const { return reach_; }

    /// "a second reading of the input", or where else they come from; empty without smoothing.
    std::string description() const;

    // The reader's side.

    /// By how many frames the reader has to be ahead of the effect.
    std::int64_t readAhead() const { return window_ != nullptr ? reach_ : 0; }

    /// What the reader delivers, all of it.
    void offer(const media::ReadItem& item);
    /// The reader is at its end.
    void finish();

    // The effect's side.

    /// The next frame to be rendered is this one, or a later one.
    void moveTo(std::int64_t frame);
    /// Makes a request that is being served fail. Any thread.
    void cancel();

private:
    std::int64_t firstNeeded(std::int64_t frame) const;

    std::int64_t reach_ = 0;
    bool needsEarlierFrames_ = false;
    std::unique_ptr<media::NeighbourSource> source_;
    media::FrameWindow* window_ = nullptr; ///< the source, where it is one
};

} // namespace tintwell::tool
