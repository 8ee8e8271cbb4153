#include "tool/report_command.h"

#include "inspect/clip_walk.h"
#include "tool/clip_options.h"
#include "tool/effect_options.h"
#include "tool/option_values.h"
#include "tool/progress_option.h"
#include "tool/render_pipeline.h"
#include "tool/report_page.h"
#include "tool/shell_command.h"
#include "tool/text_output.h"
#include "tool/user_error.h"

#include <iostream>
#include <memory>
#include <optional>
#include <utility>

namespace tintwell::tool {
namespace {

struct ReportRequest {
    ClipOptions clip;
    EffectOptions effect;
    std::optional<double> closeUpSeconds; ///< empty: the middle of the clip
    std::string output;
    bool overwrite = false;
    bool quiet = false;
    ProgressStyle progress = ProgressStyle::Auto;
};

/// The frame to look at closely where the command line names none: that in the middle, or the first
/// of a clip whose length is not known.
std::int64_t middleFrame(const ReportRequest& request, const media::ClipInfo& info) {
    const std::int64_t first = request.clip.frames ? request.clip.frames->first : 0;
    return first + totalFrames(request.clip, info).value_or(0) / 2;
}

/// The frame that the command line names, if it does.
std::optional<std::int64_t> namedFrame(const ReportRequest& request,
                                       const inspect::WalkOptions& options) {
    if (!request.closeUpSeconds) {
        return {};
    }
    if (request.clip.input == media::kStandardStream) {
        throw UserError("standard input cannot be read twice, which --at needs; name a file, or "
                        "leave --at out",
                        ExitCode::Usage);
    }
    const std::int64_t frame = inspect::frameShownAt(options, *request.closeUpSeconds);
    const auto& range = request.clip.frames;
    if (range && (frame < range->first || frame > range->last)) {
        throw UserError("--at is the time of frame " + std::to_string(frame) +
                            ", which --frames leaves out",
                        ExitCode::Usage);
    }
    return frame;
}

AnalysisHeader headerOf(const ReportRequest& request, const inspect::ClipWalk& walk) {
    const ClipOptions& clip = request.clip;
    const media::ClipInfo& info = walk.info();
    const double window = clip.controls[host::Control::TemporalSmoothing].greatestValue();
    return {clip.input,
            info.width,
            info.height,
            static_cast<int>(walk.depth()),
            av_q2d(info.frameRate),
            clip.controls,
            clip.highQuality && window > 0.0};
}

/// Goes through the clip once.
Report makeReport(const ReportRequest& request, inspect::ClipWalk& walk, std::int64_t closeUpFrame,
                  Progress& progress, const std::atomic<bool>& stop) {
    const std::optional<std::int64_t> total = totalFrames(request.clip, walk.info());
    inspect::FilmStrip strip(walk.info(), walk.depth(), total);
    inspect::CloseUp closeUp(walk.info(), walk.depth(), closeUpFrame);
    walk.setPixelsHook([&](std::int64_t frame, bool startsScene, const host::FrameBuffer& pixels) {
        strip.take(frame, startsScene, pixels);
        closeUp.take(frame, pixels);
    });
    const ProgressSpan span(progress, total);
    inspect::SummaryBuilder summary;
    Report report;
    while (const auto findings = walk.next()) {
        if (stop) {
            throw RenderStopped();
        }
        strip.add(*findings);
        closeUp.add(*findings);
        summary.add(*findings);
        report.levels.add(*findings);
        progress.advance(static_cast<std::int64_t>(report.levels.frameCount()));
    }
    report.header = headerOf(request, walk);
    report.summary = summary.summary();
    report.strip = strip.frames();
    report.closeUp = closeUp.frame().value();
    report.warnings = walk.warnings();
    report.command = renderCommand(request.clip, request.effect);
    return report;
}

void runReport(ReportRequest& request, const std::atomic<bool>& stop) {
    request.clip.controls = resolveControls(request.effect);
    inspect::WalkOptions options = walkOptions(request.clip);
    options.trials = inspect::adviceTrials();
    TextOutput output(request.output, request.clip.input, request.overwrite);
    const std::optional<std::int64_t> named = namedFrame(request, options);
    inspect::ClipWalk walk(options);
    const bool silent = request.quiet && request.progress == ProgressStyle::Auto;
    const auto progress = makeProgress(silent ? ProgressStyle::None : request.progress);
    const std::int64_t closeUpFrame = named ? *named : middleFrame(request, walk.info());
    const Report report = makeReport(request, walk, closeUpFrame, *progress, stop);
    output.stream() << reportPage(report);
    output.commit();
    for (const std::string& warning : report.warnings) {
        std::cerr << "tintwell: warning: " << warning << "\n";
    }
    if (!output.isStandardOutput() && !request.quiet) {
        std::cerr << "tintwell: wrote " << request.output << "\n";
    }
}

void addOutputOptions(CLI::App& app, ReportRequest& request) {
    constexpr const char* kGroup = "Output";
    app.add_option("-o,--output", request.output, "The page to write, for example report.html")
        ->required()
        ->type_name("FILE")
        ->group(kGroup);
    app.add_flag("--overwrite", request.overwrite, "Replace the output if it exists")
        ->group(kGroup);
    addValueOption(
        app, "--at", "TIME",
        "Look closely at the frame shown at this time: seconds, or hours, minutes and "
        "seconds as in 1:02:03.5; if not given, at the one in the middle",
        [&request](const std::string& text) { request.closeUpSeconds = parseTime(text); })
        ->group(kGroup);
}

} // namespace

Command addReportCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand(
        "report", "Make a page that shows what the correction does to a clip");
    const auto request = std::make_shared<ReportRequest>();
    addInputArgument(app, request->clip);
    addControlOptions(app, request->effect);
    addClipOptions(app, request->clip);
    addOutputOptions(app, *request);
    addProgressOption(app, request->progress);
    app.add_flag("--quiet", request->quiet, "No progress, and no messages but warnings and errors");
    app.footer("Example:\n"
               "  tintwell report holiday.mp4 -o report.html --temporal-smoothing 1");
    return {&app, [request](const std::atomic<bool>& stop) { runReport(*request, stop); }};
}

} // namespace tintwell::tool
