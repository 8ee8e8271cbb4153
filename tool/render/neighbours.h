#pragma once

#include "host/frame_buffer.h"
#include "media/neighbours/file_neighbours.h"
#include "media/neighbours/frame_window.h"
#include "media/neighbours/neighbour_source.h"
#include "media/read/clip_reader.h"
#include "tool/render/memory_plan.h"
#include "tool/values/render_options.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tintwell::tool {

/// Which frames beside the current one a rendering looks at.
struct NeighbourWindow {
    std::int64_t reach = 0;    ///< to each side of a frame; 0 without smoothing
    bool needsEarlier = false; ///< those before it, too: the effect has not rendered all of them
    NeighbourKind kind = NeighbourKind::None;

    /// How many there are, with the current one.
    std::int64_t frames() const { return (needsEarlier ? 2 : 1) * reach + 1; }
};

/// Throws UserError where the smoothing needs more pictures than can be kept of an input that can
/// be read only once.
NeighbourWindow neighbourWindow(const ClipOptions& options, const media::ClipInfo& info);

/// Where a rendering takes the frames beside the current one from: nowhere without smoothing, from
/// the pictures that the one reader delivers where enough of them can be kept, and otherwise from a
/// second reading of the input.
class Neighbours {
public:
    /// Before the reader's first read. Throws MediaError where the input cannot be opened again.
    Neighbours(const ClipOptions& options, media::ClipReader& reader, host::SampleDepth depth,
               const NeighbourWindow& window, const media::FileNeighbours::Limits& limits);

    /// Null without smoothing. Lives as long as this object.
    media::NeighbourSource* source() const { return source_.get(); }

    /// On how many frames to each side of a frame its correction may depend; 0 without smoothing.
    std::int64_t reach() const { return range_.reach; }

    /// "a second reading of the input", or where else they come from; empty without smoothing.
    std::string description() const;

    // The reader's side.

    /// By how many frames the reader has to be ahead of the effect.
    std::int64_t readAhead() const { return window_ != nullptr ? range_.reach : 0; }

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

    NeighbourWindow range_;
    std::unique_ptr<media::NeighbourSource> source_;
    media::FrameWindow* window_ = nullptr; ///< the source, where it is one
};

} // namespace tintwell::tool
