#pragma once

#include "media/input_file.h"
#include "tool/progress.h"
#include "tool/render_options.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::tool {

/// What was rendered, for the summary.
struct RenderSummary {
    std::int64_t frames = 0;
    double seconds = 0.0; ///< wall time
    std::int32_t width = 0;
    std::int32_t height = 0;
    int worldDepth = 8; ///< bits per channel the effect worked at
    std::string inputPixelFormat;
    std::string outputPixelFormat;
    std::string videoCodec;
    std::string colorMatrix; ///< as used, guessed where the source says nothing
    std::string colorRange;
    std::string output;                ///< path as given
    std::vector<std::string> warnings; ///< for example damaged frames that were concealed
};

/// Thrown when `stop` was set: everything partial has been removed.
class RenderStopped : public std::exception {
public:
    const char* what() const noexcept override { return "interrupted"; }
};

/// How the input is to be read.
media::InputOptions inputOptions(const RenderOptions& options);

/// Renders the clip: decode, convert, effect, convert, encode, each on a thread of its own with
/// bounded queues between them. The output appears under its name only when it is complete.
/// Throws UserError (tool/user_error.h) with a sentence for the user, or RenderStopped.
RenderSummary renderClip(const RenderOptions& options, Progress& progress,
                         const std::atomic<bool>& stop);

} // namespace tintwell::tool
