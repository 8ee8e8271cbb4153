#pragma once

#include "host/frame_buffer.h"
#include "inspect/frame_findings.h"
#include "media/clip_info.h"
#include "media/color/thumbnail.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace tintwell::inspect {

/// A frame in small, before and after its correction.
struct FramePair {
    std::int64_t frame = 0;
    double seconds = 0.0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    media::Jpeg before;
    media::Jpeg after;
};

/// The most frames that a strip shows.
inline constexpr int kStripFrames = 12;

/// Picks frames evenly along a clip, of however many frames it turns out to consist, and keeps
/// small pictures of them. Where a scene begins, its first frame is taken. What is kept does not
/// grow with the clip. For one thread at a time.
class FilmStrip {
public:
    /// `frames` is how many are expected, where that is known; there may be more or fewer.
    FilmStrip(const media::ClipInfo& info, host::SampleDepth depth,
              std::optional<std::int64_t> frames);

    /// The frames in order, all of them.
    void take(std::int64_t frame, bool startsScene, const host::FrameBuffer& pixels);

    /// The findings of frames taken, in order.
    void add(const FrameFindings& findings);

    std::vector<FramePair> frames() const;

private:
    /// Why a frame stands for its stretch of the clip; a better reason is greater.
    enum class Reason : std::uint8_t { First, Middle, SceneStart };

    struct Stretch {
        Reason reason;
        std::optional<host::FrameBuffer> pixels; ///< until its findings are known
        FramePair pair;
    };

    void joinStretches();

    media::ThumbnailMaker thumbnails_;
    std::optional<std::int64_t> first_;
    std::int64_t stretchFrames_;
    std::int64_t middle_;                       ///< of a stretch at the beginning
    std::map<std::int64_t, Stretch> stretches_; ///< by their number
};

/// Both pictures of a frame whose small one is given.
FramePair framePair(const FrameFindings& findings, const host::FrameBuffer& before);

} // namespace tintwell::inspect
