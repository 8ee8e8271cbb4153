#pragma once

#include "inspect/clip_walk.h"
#include "tool/terminal/progress.h"
#include "tool/values/render_options.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tintwell::tool {

/// "--at TIME"; `otherwise` says which frame is taken if it is not given.
CLI::Option* addTimeOption(CLI::App& app, std::optional<double>& seconds,
                           const std::string& otherwise);

/// Finds one frame of a clip and looks at it. Both may have to read all that lies before it: they
/// show how far they are, and throw RenderStopped when asked to stop.
class FrameSearch {
public:
    /// `stop` outlives this object.
    FrameSearch(inspect::WalkOptions options, ProgressStyle style, const std::atomic<bool>& stop);

    /// Index of the frame that is shown at this time; the first one without a time.
    std::int64_t shownAt(const std::optional<double>& seconds);

    /// The frames that begin in a span of time.
    media::FrameSpan framesBetween(const media::TimeSpan& times);

    inspect::InspectedFrame inspect(std::int64_t frame);

private:
    void requireSecondReading(const char* option) const;

    inspect::WalkOptions options_;
    std::unique_ptr<Progress> progress_;
};

/// Turns the times that the command line names, if it does, into the clip's frames. Shows progress
/// to people only: to programs that is a matter of the work itself. Throws as FrameSearch does.
void resolveTimes(ClipOptions& clip, ProgressStyle style, const std::atomic<bool>& stop);

} // namespace tintwell::tool
