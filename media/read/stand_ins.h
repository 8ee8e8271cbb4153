#pragma once

#include "media/ffmpeg_objects.h"

#include <cstdint>
#include <optional>

namespace tintwell::media {

/// Keeps the numbers of an image sequence: for each picture that did not come out of its file, the
/// one before stands in, or the first one before which there is none. Of other clips all pictures
/// pass as they are.
class StandIns {
public:
    /// How many pictures the sequence has; empty for other clips.
    explicit StandIns(std::optional<std::int64_t> length) : length_(length) {}

    /// The next one that was decoded; its time is its number. Only after an empty next().
    void put(FramePtr picture);
    /// No more will come.
    void end();
    /// What is put next need not follow what was put before.
    void startAnew();

    /// What is to be shown next; empty where a picture has to be put first.
    FramePtr next();

    /// Whether the last one of next() stands in for another.
    bool isStandIn() const { return standsIn_; }

    /// How often one stood in so far.
    std::int64_t count() const { return count_; }

private:
    FramePtr standIn(const AVFrame& picture);

    std::optional<std::int64_t> length_;
    std::optional<std::int64_t> number_{0}; ///< of the next one; empty: not known
    FramePtr decoded_;                      ///< waits until it is its turn
    FramePtr before_;
    bool ended_ = false;
    bool standsIn_ = false;
    std::int64_t count_ = 0;
};

} // namespace tintwell::media
