#include "tool/commands/render_command.h"

#include "media/clip_info.h"
#include "media/write/output_stream.h"
#include "tool/commands/render_account.h"
#include "tool/options/clip_options.h"
#include "tool/options/effect_options.h"
#include "tool/options/encoder_options.h"
#include "tool/options/module_path.h"
#include "tool/options/output_options.h"
#include "tool/options/progress_option.h"
#include "tool/options/stream_options.h"
#include "tool/render/frame_search.h"
#include "tool/render/output_names.h"
#include "tool/render/render_batch.h"
#include "tool/render/render_pipeline.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/user_error.h"
#include "tool/values/option_values.h"
#include "tool/values/render_options.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;

struct RenderRequest {
    RenderOptions options;
    std::string outputFolder;            ///< empty: there is one clip, and its output is named
    std::string namePattern = kSameName; ///< of outputs in the folder
    std::vector<std::string> moreInputs;
    EffectOptions effect;
    ProgressStyle progress = ProgressStyle::Auto;
    bool quiet = false;
    bool json = false;
    bool dryRun = false;
};

void addReportOptions(CLI::App& app, RenderRequest& request) {
    addProgressOption(app, request.progress);
    addValueOption(
        app, "--memory", "MIB",
        "How many MiB of memory the program may take; what cannot be rendered in as much "
        "is refused. By the size of the pictures if not given, 600 up to 1080p",
        [&options = request.options](const std::string& text) {
            options.memory = static_cast<std::int64_t>(parseCount(text, 64, std::size_t{1} << 24))
                             << 20;
        });
    app.add_flag("--quiet", request.quiet,
                 "No progress and no summary, only warnings and errors; the summary tells what the "
                 "correction did to a sample of each frame's pixels");
    app.add_flag("--dry-run", request.dryRun,
                 "Open everything and tell what would be done, but write nothing");
    app.add_flag("--json", request.json, "A machine-readable summary on standard output");
}

/// What the user should know before the work begins.
void announce(const RenderRequest& request, const RenderPlan& plan) {
    if (!request.quiet) {
        std::ranges::for_each(plan.notes, printNote);
    }
    printWarnings(plan.warnings);
}

/// What is told of a clip, besides what is printed on the way.
struct Told {
    Json document;
    std::string frames;     ///< how many in what time; empty where nothing was rendered
    std::string incomplete; ///< what is missing in the output; empty where nothing is
};

Told showPlan(const RenderRequest& request) {
    const RenderPlan plan = planRender(request.options);
    announce(request, plan);
    if (!request.json) {
        printPlan(request.options, plan);
    }
    return {dryRunJson(request.options, plan), {}, {}};
}

Told renderOne(RenderRequest& request, const ProgressJob& job, const std::atomic<bool>& stop) {
    RenderOptions& options = request.options;
    options.controls = resolveControls(request.effect, options.output);
    options.modulePath = findModule(request.effect.module).string();
    if (request.quiet && request.progress == ProgressStyle::Auto) {
        request.progress = ProgressStyle::None;
    }
    resolveTimes(options, request.progress, stop);
    if (request.dryRun) {
        return showPlan(request);
    }
    const auto progress = makeProgress(request.progress, standardErrorOutput(job));
    std::set<std::string> told;
    const RenderSummary summary = renderClip(
        options, *progress,
        [&](const RenderPlan& plan) {
            announce(request, plan);
            told = {plan.warnings.begin(), plan.warnings.end()};
        },
        stop);
    printWarnings(summary.warnings, told);
    if (!request.quiet && job.count == 0) {
        printSummaryLines(options, summary);
    }
    return {summaryJson(options, summary), framesText(summary), incompleteText(summary)};
}

/// Each clip that was rendered with its document, the others with what was in the way.
Json withStates(const std::vector<ClipOutcome>& outcomes, Json documents) {
    Json clips = Json::array();
    auto document = documents.begin();
    for (const ClipOutcome& outcome : outcomes) {
        const bool written =
            outcome.state == ClipState::Done || outcome.state == ClipState::Incomplete;
        Json clip{{"state", nameOf(outcome.state)},
                  {"input", outcome.names.input},
                  {"output", outcome.names.output}};
        if (written) {
            clip.update(*document++);
            clip.erase("version");
        } else {
            clip["error"] = outcome.text;
        }
        clips.push_back(std::move(clip));
    }
    return clips;
}

void renderAll(const RenderRequest& request, const std::atomic<bool>& stop) {
    // What is wrong for all of them is told once.
    resolveControls(request.effect, {});
    findModule(request.effect.module);
    Json documents = Json::array();
    const ClipWork work = [&](const ClipNames& clip, const ProgressJob& job) -> ClipOutcome {
        RenderRequest one = request;
        setInput(one.options, clip.input);
        one.options.output = clip.output;
        Told told = renderOne(one, job, stop);
        documents.push_back(std::move(told.document));
        if (!told.incomplete.empty()) {
            return {clip, ClipState::Incomplete, told.incomplete};
        }
        return {clip, ClipState::Done, told.frames};
    };
    std::vector<std::string> inputs{request.options.input};
    if (!request.options.output.empty()) {
        inputs.push_back(request.options.output);
    }
    inputs.insert(inputs.end(), request.moreInputs.begin(), request.moreInputs.end());
    const std::vector<ClipOutcome> outcomes =
        renderEach(nameOutputs(inputs, request.outputFolder, request.namePattern), work, stop);
    if (request.json) {
        printJson({{"version", 1}, {"clips", withStates(outcomes, std::move(documents))}});
    }
    if (!request.quiet && !request.dryRun) {
        printOutcomes(outcomes);
    }
    requireAllDone(outcomes);
}

void runRender(RenderRequest& request, const std::atomic<bool>& stop) {
    if (!request.outputFolder.empty()) {
        renderAll(request, stop);
        return;
    }
    const RenderOptions& options = request.options;
    const bool toStandardOutput = options.output == media::kStandardStream ||
                                  media::descriptorNamed(options.output) == STDOUT_FILENO;
    if (request.json && !request.dryRun && toStandardOutput) {
        throw UserError("--json and the output '" + options.output +
                            "' both want standard output; write the clip to a "
                            "file, or leave --json out",
                        ExitCode::Usage);
    }
    const Told told = renderOne(request, {}, stop);
    if (request.json) {
        printJson(told.document);
    }
    if (!told.incomplete.empty()) {
        throw UserError(told.incomplete, ExitCode::Incomplete);
    }
}

/// Where the outputs go: to one name for one input, or to a folder.
void addNames(CLI::App& app, RenderRequest& request) {
    addInputArgument(app, request.options);
    app.add_option("OUTPUT", request.options.output,
                   "File or image sequence to write, or - for standard output; with "
                   "--output-folder the next input")
        ->type_name("");
    app.add_option("MORE", request.moreInputs, "Further inputs, with --output-folder")
        ->type_name("")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(requireText);
    CLI::Option* const folder =
        app.add_option("--output-folder", request.outputFolder,
                       "Render any number of inputs, each to a file in this folder, which exists; "
                       "one that fails does not stop the others")
            ->type_name("FOLDER")
            ->check(requireText)
            ->group(kOutputGroup);
    addValueOption(
        app, "--name", "PATTERN",
        "What the files in the folder are called: {stem} is the input's name without "
        "its extension, {ext} the extension with its dot, as in {stem}-corrected{ext}; "
        "as the inputs if not given",
        [&request](const std::string& text) { request.namePattern = parseNamePattern(text); })
        ->needs(folder)
        ->group(kOutputGroup);
    app.final_callback([&request] {
        if (request.outputFolder.empty() && request.options.output.empty()) {
            throw CLI::RequiredError("OUTPUT");
        }
        if (request.outputFolder.empty() && !request.moreInputs.empty()) {
            throw CLI::ValidationError("'" + request.moreInputs.front() +
                                       "' is one argument too many; several inputs need "
                                       "--output-folder");
        }
    });
}

} // namespace

Command addRenderCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand("render", "Correct the colours of a clip");
    const auto request = std::make_shared<RenderRequest>();
    addNames(app, *request);
    addEffectOptions(app, request->effect);
    addClipOptions(app, request->options);
    addEncoderOptions(app, request->options);
    addStreamOptions(app, request->options.streams);
    addReportOptions(app, *request);
    app.footer("Example:\n"
               "  tintwell render holiday.mp4 corrected.mp4 --black-clip 0.5 --crf 18\n"
               "  tintwell render *.mp4 --output-folder corrected --temporal-smoothing 1");
    return {&app, [request](const std::atomic<bool>& stop) { runRender(*request, stop); }};
}

} // namespace tintwell::tool
