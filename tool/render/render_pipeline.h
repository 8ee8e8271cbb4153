#pragma once

#include "inspect/color_change.h"
#include "media/write/clip_writer.h"
#include "tool/terminal/progress.h"
#include "tool/values/render_options.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tintwell::tool {

/// How a clip is rendered, known before the first frame is.
struct RenderPlan {
    std::optional<std::int64_t> frames; ///< as far as the input tells
    std::int32_t width = 0;
    std::int32_t height = 0;
    int worldDepth = 8; ///< bits per channel the effect worked at
    std::string inputPixelFormat;
    std::string outputPixelFormat;
    std::string videoCodec;
    std::string videoQuality; ///< "crf 17", "lossless"; empty where the encoder does not tell
    std::string colorMatrix;  ///< as used, guessed where the source says nothing
    std::string colorRange;
    std::string output;      ///< path as given
    std::string inputFormat; ///< container, as FFmpeg names it
    std::string inputCodec;
    std::string outputFormat;
    double frameRate = 0.0;
    std::int64_t memory = 0;     ///< bytes that it takes at most, estimated
    std::int64_t neighbours = 0; ///< frames looked at to each side of a frame, at most
    std::string neighbourSource; ///< where they are taken from, in words; empty: none are
    std::vector<media::StreamFate> streams; ///< what becomes of the source's
    std::vector<std::string> notes;         ///< for example streams that are converted
    std::vector<std::string> warnings;      ///< for example streams that are left out
};

/// What was rendered, for the summary.
struct RenderSummary : RenderPlan {
    std::int64_t framesDone = 0;
    std::int64_t framesMissing = 0; ///< of an image sequence, that could not be read
    bool inputFailed = false;       ///< could not be read to its end
    bool leavesNumbersOut = false;  ///< those of the missing ones; otherwise others stand in
    double seconds = 0.0;           ///< wall time
    double videoBitRate = 0.0;      ///< bits per second of the output's video, on average
    inspect::ColorChange change;    ///< what the correction did to the average pixel
};

/// Thrown when `stop` was set, with what has become of the output.
class RenderStopped : public std::runtime_error {
public:
    explicit RenderStopped(const char* message = "interrupted; nothing was written")
        : std::runtime_error(message) {}
};

/// To be called now and then: throws RenderStopped once the flag is set, which outlives it.
inline std::function<void(std::int64_t)> giveUpOn(const std::atomic<bool>& stop,
                                                  const RenderStopped& message = RenderStopped()) {
    return [&stop, message](std::int64_t /*frame*/) {
        if (stop) {
            throw message;
        }
    };
}

/// Hears of the plan before the work begins.
using TellPlan = std::function<void(const RenderPlan&)>;

/// Renders the clip: decode, convert, effect, convert, encode, each on a thread of its own with
/// bounded queues between them. The output appears under its name only when it is complete.
/// Throws UserError (tool/terminal/user_error.h) with a sentence for the user, or RenderStopped.
RenderSummary renderClip(const RenderOptions& options, Progress& progress, const TellPlan& tell,
                         const std::atomic<bool>& stop);

/// Opens everything that rendering the clip needs and tells what would be done. Writes nothing, and
/// throws what renderClip would for what can be seen beforehand.
RenderPlan planRender(const RenderOptions& options);

} // namespace tintwell::tool
