#pragma once

#include "media/color_encoding.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/rational.h>
}

namespace tintwell::media {

/// Stands for standard input or output in place of a file name.
inline constexpr char kStandardStream[] = "-";

/// The largest picture that is worked on.
inline constexpr int kMaximumSide = 32767;
inline constexpr std::int64_t kMaximumPixels = std::int64_t{1} << 28;

/// First and last frame, counted from 0, both included.
struct FrameSpan {
    std::int64_t first = 0;
    std::int64_t last = 0;
};

struct FrameCount {
    std::int64_t frames = 0;
    bool exact = false; ///< counted by the container; otherwise duration times rate
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
    double rotation = 0.0;  ///< degrees counterclockwise by which players turn the picture
    std::string formatName; ///< of the container, as FFmpeg names it
    std::string codecName;

    /// Width of a pixel as shown, of its height; 1 where unknown.
    double pixelAspect() const {
        const AVRational& aspect = sampleAspectRatio;
        return aspect.num > 0 && aspect.den > 0 ? av_q2d(aspect) : 1.0;
    }

    /// By which players turn the picture, counterclockwise, 0 to 3.
    int quarterTurns() const {
        return static_cast<int>(std::lround(std::remainder(rotation, 360.0) / 90.0) + 4) % 4;
    }
};

} // namespace tintwell::media
