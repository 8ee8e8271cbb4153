#pragma once

#include "inspect/clip_walk.h"
#include "tool/options/output_options.h"
#include "tool/terminal/progress.h"

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
    FrameSearch(inspect::WalkOptions options, const OutputOptions& output,
                const std::atomic<bool>& stop);

    /// Index of the frame that is shown at this time; the first one without a time.
    std::int64_t shownAt(const std::optional<double>& seconds);

    inspect::InspectedFrame inspect(std::int64_t frame);

private:
    inspect::WalkOptions options_;
    std::unique_ptr<Progress> progress_;
};

} // namespace tintwell::tool
