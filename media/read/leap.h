#pragma once

#include "media/ffmpeg_objects.h"
#include "media/read/frame_spacing.h"

#include <cstdint>
#include <optional>

namespace tintwell::media {

/// The way to a frame deep in a clip without decoding all before it: where to begin, and how to
/// know the frame. Times are the stream's own.
class Leap {
public:
    /// Empty where reading on gets there as well: there is little before the frame, or the
    /// container's index does not tell which frame is shown when. `firstPts` is the first frame's.
    static std::optional<Leap> plan(AVStream& video, std::int64_t firstPts, std::int64_t index);

    /// To be decoded from; some frames before the one that is wanted.
    std::int64_t start() const;

    /// Whether the frame comes before the one that is wanted.
    bool isBefore(const AVFrame& frame) const { return frame.pts < target() - 1; }

    /// Whether a frame that does not come before it is the one that is wanted.
    bool hasArrived(const AVFrame& frame) const { return frame.pts <= target() + 1; }

private:
    Leap(const Pace& pace, std::int64_t firstPts, std::int64_t index)
        : pace_(pace), firstPts_(firstPts), index_(index) {}

    std::int64_t timeOf(std::int64_t index) const;

    std::int64_t target() const { return timeOf(index_); }

    Pace pace_;
    std::int64_t firstPts_;
    std::int64_t index_;
};

} // namespace tintwell::media
