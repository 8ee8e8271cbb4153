#include "tool/render/frame_search.h"

#include "tool/options/command.h"
#include "tool/options/progress_option.h"
#include "tool/render/render_pipeline.h"
#include "tool/terminal/user_error.h"
#include "tool/values/option_values.h"

#include <utility>

namespace tintwell::tool {

CLI::Option* addTimeOption(CLI::App& app, std::optional<double>& seconds,
                           const std::string& otherwise) {
    return addValueOption(app, "--at", "TIME",
                          "The frame shown at this time: seconds, or hours, minutes and seconds as "
                          "in 1:02:03.5; " +
                              otherwise + " if not given",
                          [&seconds](const std::string& text) { seconds = parseTime(text); });
}

FrameSearch::FrameSearch(inspect::WalkOptions options, const OutputOptions& output,
                         const std::atomic<bool>& stop)
    : options_(std::move(options)), progress_(makeProgress(progressStyle(output))) {
    options_.watch = [this, check = giveUpOn(stop)](std::int64_t frame) {
        check(frame);
        progress_->advance(frame + 1);
    };
}

std::int64_t FrameSearch::shownAt(const std::optional<double>& seconds) {
    if (!seconds) {
        return 0;
    }
    if (options_.input == media::kStandardStream) {
        throw UserError("standard input cannot be read twice, which --at needs; name a file, or "
                        "leave --at out",
                        ExitCode::Usage);
    }
    const ProgressSpan span(*progress_, std::nullopt);
    return inspect::frameShownAt(options_, *seconds);
}

inspect::InspectedFrame FrameSearch::inspect(std::int64_t frame) {
    const ProgressSpan span(*progress_, frame + 1);
    return inspect::inspectFrame(options_, frame);
}

} // namespace tintwell::tool
