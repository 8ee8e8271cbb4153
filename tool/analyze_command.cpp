#include "tool/analyze_command.h"

#include "inspect/clip_walk.h"
#include "inspect/correction_summary.h"
#include "tool/analysis_writer.h"
#include "tool/clip_options.h"
#include "tool/effect_options.h"
#include "tool/progress_option.h"
#include "tool/render_pipeline.h"
#include "tool/summary_text.h"
#include "tool/terminal.h"
#include "tool/text_output.h"
#include "tool/user_error.h"

#include <iostream>
#include <memory>

namespace tintwell::tool {
namespace {

struct AnalyzeRequest {
    ClipOptions clip;
    EffectOptions effect;
    std::string output;
    bool overwrite = false;
    bool csv = false;
    bool json = false;
    bool quiet = false;
    ProgressStyle progress = ProgressStyle::Auto;
};

std::unique_ptr<AnalysisWriter> makeWriter(const AnalyzeRequest& request, TextOutput& output) {
    if (request.json) {
        return makeJsonWriter(output.stream());
    }
    return request.csv ? makeCsvWriter(output.stream())
                       : makeTableWriter(output.stream(), output.isColored());
}

AnalysisHeader headerOf(const AnalyzeRequest& request, const inspect::ClipWalk& walk) {
    const ClipOptions& clip = request.clip;
    const double window = clip.controls[host::Control::TemporalSmoothing].greatestValue();
    return {clip.input,
            walk.info().width,
            walk.info().height,
            static_cast<int>(walk.depth()),
            av_q2d(walk.info().frameRate),
            clip.controls,
            clip.highQuality && window > 0.0};
}

/// Lines and a bar that is drawn over and over do not go together on one terminal.
ProgressStyle progressStyle(const AnalyzeRequest& request, const TextOutput& output) {
    const bool shared = output.isStandardOutput() && standardOutputIsTerminal();
    const bool off = request.quiet || shared;
    return off && request.progress == ProgressStyle::Auto ? ProgressStyle::None : request.progress;
}

inspect::CorrectionSummary writeFrames(inspect::ClipWalk& walk, AnalysisWriter& writer,
                                       Progress& progress, const TextOutput& written,
                                       const std::atomic<bool>& stop) {
    inspect::SummaryBuilder summary;
    std::int64_t frames = 0;
    while (const auto findings = walk.next()) {
        if (stop) {
            throw written.isStandardOutput()
                ? RenderStopped("interrupted; the output is incomplete")
                : RenderStopped();
        }
        summary.add(*findings);
        writer.add(*findings);
        progress.advance(++frames);
    }
    return summary.summary();
}

void runAnalyze(AnalyzeRequest& request, const std::atomic<bool>& stop) {
    request.clip.controls = resolveControls(request.effect);
    inspect::WalkOptions options = walkOptions(request.clip);
    options.trials = inspect::adviceTrials();
    inspect::ClipWalk walk(options);
    TextOutput output(request.output, request.clip.input, request.overwrite);
    const auto writer = makeWriter(request, output);
    const AnalysisHeader header = headerOf(request, walk);
    const auto progress = makeProgress(progressStyle(request, output));

    writer->begin(header);
    inspect::CorrectionSummary summary;
    {
        const ProgressSpan span(*progress, totalFrames(request.clip, walk.info()));
        summary = writeFrames(walk, *writer, *progress, output, stop);
    }
    writer->end(summary, walk.warnings());
    output.commit();

    for (const std::string& warning : walk.warnings()) {
        std::cerr << "tintwell: warning: " << warning << "\n";
    }
    if (request.csv && !request.quiet) {
        for (const auto& [label, text] : summaryLines(summary, header.smoothed)) {
            std::cerr << "tintwell: " << label << ": " << text << "\n";
        }
    }
    if (!output.isStandardOutput() && !request.quiet) {
        std::cerr << "tintwell: wrote " << request.output << "\n";
    }
}

void addOutputOptions(CLI::App& app, AnalyzeRequest& request) {
    constexpr const char* kGroup = "Output";
    auto* csv = app.add_flag("--csv", request.csv, "A line of comma-separated values a frame")
                    ->group(kGroup);
    app.add_flag("--json", request.json, "One JSON document with the frames and the summary")
        ->excludes(csv)
        ->group(kGroup);
    app.add_option("-o,--output", request.output, "Write to this file, not to standard output")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_flag("--overwrite", request.overwrite, "Replace the output if it exists")
        ->group(kGroup);
}

} // namespace

Command addAnalyzeCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand(
        "analyze", "Tell what the correction of each frame is, without rendering");
    const auto request = std::make_shared<AnalyzeRequest>();
    addInputArgument(app, request->clip);
    addControlOptions(app, request->effect);
    addClipOptions(app, request->clip);
    addOutputOptions(app, *request);
    addProgressOption(app, request->progress);
    app.add_flag("--quiet", request->quiet, "No progress, and no messages but warnings and errors");
    app.footer("Example:\n"
               "  tintwell analyze holiday.mp4 --temporal-smoothing 1 --csv -o levels.csv");
    return {&app, [request](const std::atomic<bool>& stop) { runAnalyze(*request, stop); }};
}

} // namespace tintwell::tool
