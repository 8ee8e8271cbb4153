#pragma once

#include "host/control_track.h"
#include "host/frame_buffer.h"
#include "inspect/correction_finder.h"
#include "inspect/frame_findings.h"
#include "media/color/clip_to_world.h"
#include "media/read/clip_reader.h"

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tintwell::inspect {

/// Which frames of which clip are looked at, and how the effect sees them.
struct WalkOptions {
    std::string input;
    media::InputOptions reading;
    std::optional<media::FrameSpan> frames; ///< empty: all
    std::optional<host::SampleDepth> depth; ///< empty: 16 where the clip has more than 8 bits
    host::ControlTracks controls;
    bool highQuality = true;
    std::vector<SmoothingTrial> trials; ///< see FinderOptions
    /// Told the index of each frame that is read, wanted or not, from one thread at a time. What it
    /// throws ends the reading.
    std::function<void(std::int64_t frame)> watch;
};

/// Goes through a clip once and finds each frame's correction, exactly as rendering the whole clip
/// would. The memory does not grow with the clip, and by some KiB a frame with the windows. Reading
/// goes on in a thread of its own. For one thread at a time; throws media::MediaError, and what the
/// finder does.
class ClipWalk {
public:
    explicit ClipWalk(const WalkOptions& options);

    const media::ClipInfo& info() const { return reader_.info(); }

    host::SampleDepth depth() const { return depth_; }

    /// Called with each frame's pixels as they are read, before its findings come: by half a
    /// window, where it is smoothed. The pixels are gone when the call returns.
    using PixelsHook =
        std::function<void(std::int64_t frame, bool startsScene, const host::FrameBuffer& pixels)>;

    void setPixelsHook(PixelsHook hook) { pixelsHook_ = std::move(hook); }

    /// The findings of the next frame; empty at the end.
    std::optional<FrameFindings> next();

    /// How many of the frames have been read so far, for a display of progress.
    std::int64_t framesRead() const { return framesRead_; }

    /// See ClipReader::framesMissing. At the end only, as the warnings.
    std::int64_t framesMissing() const { return reader_.framesMissing(); }

    /// See ClipReader::failedToRead.
    bool failedToRead() const { return reader_.failedToRead(); }

    /// At the end only: the other thread reads until then.
    std::vector<std::string> warnings() const { return reader_.warnings(); }

private:
    struct Picture {
        std::int64_t frame = 0;
        double seconds = 0.0;
        bool wanted = true;
        std::unique_ptr<host::FrameBuffer> world;
    };

    std::optional<Picture> read(std::unique_ptr<host::FrameBuffer> world);
    void readOn(std::unique_ptr<host::FrameBuffer> world);
    void measureNext();

    WalkOptions options_;
    media::ClipReader reader_;
    host::SampleDepth depth_;
    media::ClipToWorld toWorld_;
    CorrectionFinder finder_;
    PixelsHook pixelsHook_;
    std::int64_t framesRead_ = 0;
    std::unique_ptr<host::FrameBuffer> spare_; ///< to be read into
    bool begun_ = false;
    bool ended_ = false;
    std::future<std::optional<Picture>> ahead_; ///< last, so that it ends before what it uses goes
};

host::FrameBuffer copyOf(const host::FrameBuffer& buffer);

/// One frame and its correction.
struct InspectedFrame {
    FrameFindings findings;
    host::FrameBuffer before;
    host::FrameBuffer after;         ///< as rendered
    ChannelHistogram histogramAfter; ///< of these pixels, as the findings' is of those before
    media::ClipInfo clip;
    std::vector<std::string> warnings; ///< of what was read
};

/// Index of the frame that is shown at a time, which counts from the clip's beginning; the first
/// one before it begins. Throws MediaError where the clip shows nothing then.
std::int64_t frameShownAt(const WalkOptions& options, double seconds);

/// The frames that begin in a span of time: at its beginning or later, and before its end. Two
/// spans that meet have no frame in common and leave none out. Throws MediaError where none begins
/// then.
media::FrameSpan framesBetween(const WalkOptions& options, const media::TimeSpan& times);

/// Looks at one frame of the clip; the frames of the options do not matter.
InspectedFrame inspectFrame(const WalkOptions& options, std::int64_t frame);

} // namespace tintwell::inspect
