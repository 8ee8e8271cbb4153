#include "tool/commands/analyze_command.h"

#include "inspect/clip_walk.h"
#include "inspect/correction_summary.h"
#include "tool/findings/analysis_writer.h"
#include "tool/findings/summary_text.h"
#include "tool/options/clip_options.h"
#include "tool/options/effect_options.h"
#include "tool/options/output_options.h"
#include "tool/options/progress_option.h"
#include "tool/render/frame_search.h"
#include "tool/render/render_pipeline.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/terminal.h"
#include "tool/terminal/text_output.h"
#include "tool/terminal/user_error.h"

#include <memory>

namespace tintwell::tool {
namespace {

struct AnalyzeRequest {
    ClipOptions clip;
    EffectOptions effect;
    OutputOptions output;
    bool csv = false;
    bool json = false;
};

std::unique_ptr<AnalysisWriter> makeWriter(const AnalyzeRequest& request, TextOutput& output) {
    if (request.json) {
        return makeJsonWriter(output.stream());
    }
    return request.csv ? makeCsvWriter(output.stream())
                       : makeTableWriter(output.stream(), output.isColored());
}

/// Lines and a bar that is drawn over and over do not go together on one terminal.
ProgressStyle progressBeside(const TextOutput& written, const OutputOptions& options) {
    const bool shared = written.isStandardOutput() && standardOutputIsTerminal();
    return shared && options.progress == ProgressStyle::Auto ? ProgressStyle::None
                                                             : progressStyle(options);
}

inspect::CorrectionSummary writeFrames(inspect::ClipWalk& walk, AnalysisWriter& writer,
                                       Progress& progress) {
    inspect::SummaryBuilder summary;
    std::int64_t frames = 0;
    while (const auto findings = walk.next()) {
        summary.add(*findings);
        writer.add(*findings);
        progress.advance(++frames);
    }
    return summary.summary();
}

void runAnalyze(AnalyzeRequest& request, const std::atomic<bool>& stop) {
    request.clip.controls = resolveControls(request.effect, request.output.path);
    TextOutput output(request.output.path, request.clip.files, request.output.overwrite);
    resolveTimes(request.clip, progressBeside(output, request.output), stop);
    inspect::WalkOptions options = walkOptions(request.clip);
    options.trials = inspect::adviceTrials();
    const char* const incomplete = "interrupted; the output is incomplete";
    options.watch = [&output, check = giveUpOn(stop, output.isStandardOutput()
                                                         ? RenderStopped(incomplete)
                                                         : RenderStopped())](std::int64_t frame) {
        check(frame);
        output.requireReader();
    };
    inspect::ClipWalk walk(options);
    const auto writer = makeWriter(request, output);
    const AnalysisHeader header = headerOf(request.clip, walk);
    const auto progress = makeProgress(progressBeside(output, request.output));

    writer->begin(header);
    inspect::CorrectionSummary summary;
    {
        const ProgressSpan span(*progress, totalFrames(request.clip, walk.info()));
        summary = writeFrames(walk, *writer, *progress);
    }
    writer->end(summary, walk.warnings());
    output.commit();

    printWarnings(walk.warnings());
    if (request.csv && !request.output.quiet) {
        for (const auto& [label, text] : summaryLines(summary, header.smoothed)) {
            printNote(label + ": " + text);
        }
    }
    tellWritten(request.output);
    requireAllFrames(walk, request.clip);
}

void addFormatOptions(CLI::App& app, AnalyzeRequest& request) {
    auto* csv = app.add_flag("--csv", request.csv, "A line of comma-separated values a frame")
                    ->group(kOutputGroup);
    app.add_flag("--json", request.json, "One JSON document with the frames and the summary")
        ->excludes(csv)
        ->group(kOutputGroup);
}

} // namespace

Command addAnalyzeCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand(
        "analyze", "Tell what the correction of each frame is, without rendering");
    const auto request = std::make_shared<AnalyzeRequest>();
    addInputArgument(app, request->clip);
    addControlOptions(app, request->effect);
    addClipOptions(app, request->clip);
    addFormatOptions(app, *request);
    addOutputOptions(app, request->output, "Write to this file, not to standard output");
    app.footer("Example:\n"
               "  tintwell analyze holiday.mp4 --temporal-smoothing 1 --csv -o levels.csv");
    return {&app, [request](const std::atomic<bool>& stop) { runAnalyze(*request, stop); }};
}

} // namespace tintwell::tool
