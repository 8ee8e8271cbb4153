#pragma once

#include "host/clip_timing.h"
#include "host/control_track.h"
#include "host/frame_buffer.h"
#include "inspect/frame_findings.h"

#include <deque>
#include <optional>
#include <vector>

namespace tintwell::inspect {

/// A smoothing that is tried beside the one that the controls say.
struct SmoothingTrial {
    double seconds = 0.0;
    bool sceneDetect = false;
};

struct FinderOptions {
    host::ClipTiming timing; ///< frameCount need not be the true one before `finish`
    host::ControlTracks controls;
    bool highQuality = true; ///< a draft is not smoothed
    std::vector<SmoothingTrial> trials;
};

/// On how many frames to each side a window of this duration depends: its half, and the frame
/// beyond.
std::int64_t smoothingReach(const host::ClipTiming& timing, double seconds);

/// Finds what the effect corrects each frame of a clip with. Takes the frames in their order, each
/// once, and keeps their measurements, not their pixels: the neighbours of a frame are known when
/// the clip has been taken `reach` frames beyond it. The measurements are made and smoothed by the
/// effect's own functions. For one thread at a time.
class CorrectionFinder {
public:
    explicit CorrectionFinder(FinderOptions options);
    CorrectionFinder(const CorrectionFinder&) = delete;
    CorrectionFinder& operator=(const CorrectionFinder&) = delete;

    /// On how many frames to each side a frame's findings depend; at least 1.
    std::int64_t reach() const { return reach_; }

    /// Measures the next frame. The first one may have any index, the others follow it; all pixels
    /// are A,R,G,B. A frame that is not wanted is there for its neighbours only. Tells whether the
    /// frame begins a scene. Throws std::runtime_error when the effect's code refuses the frame.
    bool add(std::int64_t frame, double seconds, const host::FrameBuffer& pixels,
             bool wanted = true);

    /// The clip has no more frames.
    void finish();

    /// The findings of the next wanted frame whose neighbours are known, in order; each once.
    std::optional<FrameFindings> next();

private:
    ControlValues controlsAt(std::int64_t frame) const;
    InData recordFor(std::int64_t frame, bool highQuality);
    LevelsRecord smooth(const FrameFindings& own, const ControlValues& controls, bool highQuality);
    void forgetBefore(std::int64_t frame);
    void setClockFor(std::int64_t frame);
    std::int32_t cacheIndex(std::int64_t frame) const;

    FinderOptions options_;
    std::int64_t reach_ = 1;
    FrameCache cache_;
    void* cacheBlock_ = &cache_; ///< what a sequence handle points at
    std::deque<FrameFindings> waiting_;
    std::int64_t added_ = 0; ///< one more than the index of the last frame
    bool finished_ = false;
};

/// The levels of a frame's pixels, counted as the effect counts them.
ChannelHistogram histogramOf(const host::FrameBuffer& pixels);

/// The pixels corrected the way a render does it with the levels and controls of the findings. The
/// output is of the input's size and depth, and not the input.
void correctPixels(const FrameFindings& findings, const host::FrameBuffer& input,
                   host::FrameBuffer& output);

} // namespace tintwell::inspect
