#pragma once

#include "media/color_encoding.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/rational.h>
}

namespace tintwell::media {

/// Stands for standard input or output in place of a file name.
inline constexpr char kStandardStream[] = "-";

/// The largest picture that is worked on, in pixels, where nobody says otherwise: a few of them
/// take gigabytes, and a small file can hold them.
inline constexpr std::int64_t kUsualPixels = std::int64_t{1} << 26;

/// The largest one that can be worked on at all.
inline constexpr int kMaximumSide = 32767;
inline constexpr std::int64_t kMaximumPixels = std::int64_t{1} << 28;

/// First and last frame, counted from 0, both included, or all from the first one on. Never empty,
/// and few enough that numbers and times of frames can be reckoned with.
struct FrameSpan {
    /// The effect counts with 32 bits.
    static constexpr std::int64_t kGreatest = std::numeric_limits<std::int32_t>::max() - 1;

    /// Throws std::invalid_argument where that is no such span.
    FrameSpan(std::int64_t firstFrame, std::int64_t lastFrame)
        : first(firstFrame), last(lastFrame) {
        if (first < 0 || last < first || last > kGreatest) {
            throw std::invalid_argument("is no span of frames; they are counted from 0 to " +
                                        std::to_string(kGreatest));
        }
    }

    /// From this frame on to the clip's end, wherever that is.
    static FrameSpan from(std::int64_t firstFrame) {
        FrameSpan span(firstFrame, kGreatest);
        span.toEnd = true;
        return span;
    }

    /// Empty where that depends on the clip.
    std::optional<std::int64_t> count() const {
        return toEnd ? std::nullopt : std::optional(last - first + 1);
    }

    std::int64_t first;
    std::int64_t last;  ///< the greatest there can be where the clip's end is meant
    bool toEnd = false; ///< wherever the clip ends
};

/// From a time on and up to another one, in seconds from the beginning of the clip as players count
/// them. Empty: from the beginning, to the end.
struct TimeSpan {
    std::optional<double> from;
    std::optional<double> to;
};

struct FrameCount {
    std::int64_t frames = 0;
    bool exact = false; ///< counted by the container; otherwise duration times rate
};

/// What becomes of high dynamic range, PQ and HLG. The correction is made for pictures whose white
/// is the brightest that there is.
enum class HdrHandling : std::uint8_t {
    Refuse,
    TreatAsSdr, ///< correct the signal as if it were one of those
    KeepPeak,   ///< correct what lies below reference white, and leave what is brighter
};

/// What is known of a clip once its first frame is decoded.
struct ClipInfo {
    int width = 0;
    int height = 0;
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;
    int bitsPerChannel = 8;
    bool alpha = false;
    ColorTags tags;      ///< as stored
    ColorEncoding color; ///< as used: guessed where the tags say nothing
    AVRational timeBase{0, 1};
    AVRational frameRate{0, 1};     ///< average; 25 where nothing is known
    bool variableFrameRate = false; ///< as far as the container or its start tell
    bool rateIsExact = false;       ///< all frames are known to be 1/frameRate apart
    std::optional<FrameCount> frameCount;
    AVRational sampleAspectRatio{0, 1}; ///< 0/1 where unknown
    /// What the decoder says, and where it says nothing the container.
    AVFieldOrder fieldOrder = AV_FIELD_UNKNOWN;
    double rotation = 0.0;  ///< degrees counterclockwise by which players turn the picture
    std::string formatName; ///< of the container, as FFmpeg names it
    std::string codecName;

    /// Width of a pixel as shown, of its height; 1 where unknown.
    double pixelAspect() const {
        const AVRational& aspect = sampleAspectRatio;
        return aspect.num > 0 && aspect.den > 0 ? av_q2d(aspect) : 1.0;
    }

    /// The signal of reference white, 0 to 1, where only what is darker is corrected; 0: all is.
    double referenceWhite = 0.0;

    bool hasFields() const { return fieldOrder > AV_FIELD_PROGRESSIVE; }

    /// By which players turn the picture, counterclockwise, 0 to 3.
    int quarterTurns() const {
        return static_cast<int>(std::lround(std::remainder(rotation, 360.0) / 90.0) + 4) % 4;
    }
};

/// How many frames of the clip, or of a span of it, there are to be read; as far as that is known.
inline std::optional<FrameCount> framesToRead(const ClipInfo& info,
                                              const std::optional<FrameSpan>& span) {
    if (span && !span->toEnd) {
        return FrameCount{*span->count(), true};
    }
    if (!span || !info.frameCount) {
        return info.frameCount;
    }
    return FrameCount{std::max<std::int64_t>(info.frameCount->frames - span->first, 1),
                      info.frameCount->exact};
}

} // namespace tintwell::media
