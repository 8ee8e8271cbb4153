#include "tool/render/frame_search.h"

#include "tool/options/clip_options.h"
#include "tool/options/command.h"
#include "tool/options/progress_option.h"
#include "tool/render/render_pipeline.h"
#include "tool/terminal/user_error.h"
#include "tool/values/option_values.h"

#include <filesystem>
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

FrameSearch::FrameSearch(inspect::WalkOptions options, ProgressStyle style,
                         const std::atomic<bool>& stop)
    : options_(std::move(options)), progress_(makeProgress(style)) {
    options_.watch = [this, check = giveUpOn(stop)](std::int64_t frame) {
        check(frame);
        progress_->advance(frame + 1);
    };
}

std::int64_t FrameSearch::shownAt(const std::optional<double>& seconds) {
    if (!seconds) {
        return 0;
    }
    requireSecondReading("--at");
    const ProgressSpan span(*progress_, std::nullopt);
    return inspect::frameShownAt(options_, *seconds);
}

media::FrameSpan FrameSearch::framesBetween(const media::TimeSpan& times) {
    const char* const option = times.from ? "--from" : "--to";
    requireSecondReading(option);
    std::error_code error;
    if (std::filesystem::is_fifo(options_.input, error)) {
        throw UserError(options_.input + ": is a pipe, which cannot be read twice, as " + option +
                            " needs; use --frames instead",
                        ExitCode::Usage);
    }
    const ProgressSpan span(*progress_, std::nullopt);
    return inspect::framesBetween(options_, times);
}

void FrameSearch::requireSecondReading(const char* option) const {
    if (options_.input == media::kStandardStream) {
        throw UserError(std::string("standard input cannot be read twice, which ") + option +
                            " needs; name a file, or leave " + option + " out",
                        ExitCode::Usage);
    }
}

inspect::InspectedFrame FrameSearch::inspect(std::int64_t frame) {
    const ProgressSpan span(*progress_, frame + 1);
    return inspect::inspectFrame(options_, frame);
}

void resolveTimes(ClipOptions& clip, ProgressStyle style, const std::atomic<bool>& stop) {
    const media::TimeSpan times = std::exchange(clip.times, {});
    if (!times.from && !times.to) {
        return;
    }
    style = style == ProgressStyle::Json ? ProgressStyle::None : style;
    clip.frames = FrameSearch(walkOptions(clip), style, stop).framesBetween(times);
}

} // namespace tintwell::tool
