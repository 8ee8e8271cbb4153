#include "tool/commands/report_command.h"

#include "inspect/clip_walk.h"
#include "tool/options/clip_options.h"
#include "tool/options/effect_options.h"
#include "tool/options/output_options.h"
#include "tool/options/progress_option.h"
#include "tool/render/frame_search.h"
#include "tool/render/render_pipeline.h"
#include "tool/report/report_page.h"
#include "tool/report/shell_command.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/text_output.h"
#include "tool/terminal/user_error.h"

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
    OutputOptions output;
};

/// The frame to look at closely where the command line names none: that in the middle, or the first
/// of a clip whose length is not known.
std::int64_t middleFrame(const ReportRequest& request, const media::ClipInfo& info) {
    const std::int64_t first = request.clip.frames ? request.clip.frames->first : 0;
    return first + totalFrames(request.clip, info).value_or(0) / 2;
}

/// The frame that the command line names, if it does.
std::optional<std::int64_t> namedFrame(const ReportRequest& request,
                                       const inspect::WalkOptions& options,
                                       const std::atomic<bool>& stop) {
    if (!request.closeUpSeconds) {
        return {};
    }
    const std::int64_t frame =
        FrameSearch(options, progressStyle(request.output), stop).shownAt(request.closeUpSeconds);
    const auto& range = request.clip.frames;
    if (range && (frame < range->first || frame > range->last)) {
        throw UserError("--at is the time of frame " + std::to_string(frame) +
                            ", which --frames, or --from and --to, leave out",
                        ExitCode::Usage);
    }
    return frame;
}

/// Goes through the clip once.
Report makeReport(const ReportRequest& request, inspect::ClipWalk& walk, std::int64_t closeUpFrame,
                  Progress& progress) {
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
        strip.add(*findings);
        closeUp.add(*findings);
        summary.add(*findings);
        report.levels.add(*findings);
        progress.advance(static_cast<std::int64_t>(report.levels.frameCount()));
    }
    report.header = headerOf(request.clip, walk);
    report.summary = summary.summary();
    report.strip = strip.frames();
    report.closeUp = closeUp.frame().value();
    report.warnings = walk.warnings();
    report.command = renderCommand(request.clip, request.effect);
    return report;
}

void runReport(ReportRequest& request, const std::atomic<bool>& stop) {
    request.clip.controls = resolveControls(request.effect, request.output.path);
    TextOutput output(request.output.path, request.clip.files, request.output.overwrite);
    resolveTimes(request.clip, progressStyle(request.output), stop);
    inspect::WalkOptions options = walkOptions(request.clip);
    options.trials = inspect::adviceTrials();
    options.watch = [&output, check = giveUpOn(stop)](std::int64_t frame) {
        check(frame);
        output.requireReader();
    };
    const std::optional<std::int64_t> named = namedFrame(request, options, stop);
    inspect::ClipWalk walk(options);
    const auto progress = makeProgress(progressStyle(request.output));
    const std::int64_t closeUpFrame = named ? *named : middleFrame(request, walk.info());
    const Report report = makeReport(request, walk, closeUpFrame, *progress);
    output.stream() << reportPage(report);
    output.commit();
    printWarnings(report.warnings);
    tellWritten(request.output);
    requireAllFrames(walk, request.clip);
}

} // namespace

Command addReportCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand(
        "report", "Make a page that shows what the correction does to a clip");
    const auto request = std::make_shared<ReportRequest>();
    addInputArgument(app, request->clip);
    addControlOptions(app, request->effect);
    addClipOptions(app, request->clip);
    addTimeOption(app, request->closeUpSeconds, "a closer look at the frame in the middle")
        ->group(kOutputGroup);
    addOutputOptions(app, request->output, "The page to write, for example report.html")
        ->required();
    app.footer("Example:\n"
               "  tintwell report holiday.mp4 -o report.html --temporal-smoothing 1");
    return {&app, [request](const std::atomic<bool>& stop) { runReport(*request, stop); }};
}

} // namespace tintwell::tool
