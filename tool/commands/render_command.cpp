#include "tool/commands/render_command.h"

#include "inspect/color_change.h"
#include "media/clip_info.h"
#include "media/write/output_stream.h"
#include "tool/findings/summary_text.h"
#include "tool/options/clip_options.h"
#include "tool/options/color_options.h"
#include "tool/options/effect_options.h"
#include "tool/options/module_path.h"
#include "tool/options/output_options.h"
#include "tool/options/progress_option.h"
#include "tool/options/stream_options.h"
#include "tool/render/frame_search.h"
#include "tool/render/output_names.h"
#include "tool/render/render_batch.h"
#include "tool/render/render_pipeline.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/printable.h"
#include "tool/terminal/user_error.h"
#include "tool/values/control_values.h"
#include "tool/values/option_values.h"
#include "tool/values/render_options.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tintwell::tool {
namespace {

/// The widest range that an encoder in use gives its constant rate factor.
constexpr double kLargestCrf = 63.0;

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

void addEncoderOptions(CLI::App& app, RenderOptions& options) {
    constexpr const char* kGroup = "Output";
    app.add_option("--output-format", options.outputFormat,
                   "FFmpeg's name of the file format, where the name of the output does not tell")
        ->type_name("NAME")
        ->group(kGroup);
    using media::Purpose;
    auto* purpose = addChoiceOption<Purpose>(
        app, "--for",
        {{"same", Purpose::Same},
         {"archive", Purpose::Archive},
         {"edit", Purpose::Edit},
         {"web", Purpose::Web}},
        options.purpose,
        "What the output is for: same is as near to the input as the file format allows, archive "
        "is FFV1, edit is ProRes 422 HQ or 4444, web is H.264 that every browser plays");
    purpose->group(kGroup);
    app.add_option("--video-codec", options.videoCodec,
                   "FFmpeg's name of the encoder; otherwise the input's codec or the nearest")
        ->type_name("NAME")
        ->excludes(purpose)
        ->group(kGroup);
    app.add_option("--pixel-format", options.pixelFormat,
                   "FFmpeg's name of the pixel format; otherwise the input's or the nearest")
        ->type_name("NAME")
        ->excludes(purpose)
        ->group(kGroup);
    addValueOption(app, "--crf", "NUMBER",
                   "Constant quality, lower is better: short for --encoder-option crf=NUMBER",
                   [&options](const std::string& text) {
                       parseReal(text, 0.0, kLargestCrf, "");
                       options.encoderOptions.push_back({"crf", text});
                   })
        ->group(kGroup);
    addKeyValueOption(app, "--encoder-option",
                      "An option for the encoder, as FFmpeg names it; may be given several times",
                      options.encoderOptions)
        ->group(kGroup);
    addKeyValueOption(app, "--output-option",
                      "An option for the file format, as FFmpeg names it, for example "
                      "movflags=+faststart; may be given several times",
                      options.outputOptions)
        ->group(kGroup);
    app.add_flag("!--no-check", options.check,
                 "Do not read the output's first and last frame back before it takes its name")
        ->group(kGroup);
    app.add_flag("--overwrite", options.overwrite, "Replace the output if it exists")
        ->group(kGroup);
}

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

using Json = nlohmann::ordered_json;

Json streamsJson(const std::vector<media::StreamFate>& streams) {
    Json list = Json::array();
    for (const media::StreamFate& stream : streams) {
        list.push_back({{"index", stream.index},
                        {"kind", stream.kind},
                        {"codec", stream.codec},
                        {"fate", stream.fate}});
        if (!stream.target.empty()) {
            list.back()["converted_to"] = stream.target;
        }
        if (!stream.reason.empty()) {
            list.back()["reason"] = stream.reason;
        }
    }
    return list;
}

Json declaredJson(const media::ColorTags& declared) {
    Json colors = Json::object();
    for (const auto& [what, name] : declaredColors(declared)) {
        colors[what] = name;
    }
    return colors;
}

Json planJson(const RenderRequest& request, const RenderPlan& plan) {
    return {
        {"version", 1},
        {"input", request.options.input},
        {"output", plan.output},
        {"frames", plan.frames ? Json(*plan.frames) : Json()},
        {"seconds", nullptr},
        {"width", plan.width},
        {"height", plan.height},
        {"depth", plan.worldDepth},
        {"input_pixel_format", plan.inputPixelFormat},
        {"output_pixel_format", plan.outputPixelFormat},
        {"video_codec", plan.videoCodec},
        {"video_quality", plan.videoQuality},
        {"color_matrix", plan.colorMatrix},
        {"color_range", plan.colorRange},
        {"streams", streamsJson(plan.streams)},
        {"notes", plan.notes},
        {"color_declared", declaredJson(request.options.declared)},
        {"warnings", plan.warnings},
    };
}

/// File names are bytes; those that are no UTF-8 must not make it fail.
void printJson(const Json& document) {
    using ErrorHandler = Json::error_handler_t;
    std::cout << printableJson(document.dump(2, ' ', false, ErrorHandler::replace)) << "\n";
}

Json summaryJson(const RenderRequest& request, const RenderSummary& summary) {
    Json document = planJson(request, summary);
    document["frames"] = summary.framesDone;
    document["frames_missing"] = summary.framesMissing;
    document["seconds"] = summary.seconds;
    document["video_bit_rate"] = summary.videoBitRate;
    document["correction"] = changeJson(summary.change);
    return document;
}

/// "libx264, yuv420p, crf 17".
std::string encodingText(const RenderPlan& plan) {
    return plan.videoCodec + ", " + plan.outputPixelFormat +
           (plan.videoQuality.empty() ? "" : ", " + plan.videoQuality);
}

/// "144 frames of 640x480 at 8 bits per channel in 3.2 s (45.0 per second)"
std::string framesText(const RenderSummary& summary) {
    char numbers[128];
    const double rate =
        summary.seconds > 0.0 ? static_cast<double>(summary.framesDone) / summary.seconds : 0.0;
    std::snprintf(numbers, sizeof numbers,
                  "%lld frames of %dx%d at %d bits per channel in %.1f s (%.1f per second)",
                  static_cast<long long>(summary.framesDone), static_cast<int>(summary.width),
                  static_cast<int>(summary.height), summary.worldDepth, summary.seconds, rate);
    return numbers;
}

void printSummaryLines(const RenderOptions& options, const RenderSummary& summary) {
    printNote(summary.output + ": " + framesText(summary));
    if (const std::string colors = declaredText(options.declared); !colors.empty()) {
        printNote("the input's colour was taken as declared: " + colors);
    }
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, "%.2f Mbit/s", summary.videoBitRate / 1e6);
    printNote("encoded as " + encodingText(summary) + ", " + numbers);
    std::snprintf(numbers, sizeof numbers, "changed the average pixel by %.1f of 255 levels",
                  summary.change.strength);
    printNote(std::string("the correction ") + numbers + " and " +
              inspect::castSentence(summary.change));
}

Json dryRunJson(const RenderRequest& request, const RenderPlan& plan) {
    Json document = planJson(request, plan);
    document.erase("seconds");
    document["dry_run"] = true;
    document["controls"] = controlsJson(request.options.controls);
    document["neighbours"] = plan.neighbours;
    document["memory"] = plan.memory;
    return document;
}

void printPlan(const RenderRequest& request, const RenderPlan& plan) {
    const RenderOptions& options = request.options;
    char size[64];
    std::snprintf(size, sizeof size, "%dx%d, %.6g frames per second", static_cast<int>(plan.width),
                  static_cast<int>(plan.height), plan.frameRate);
    const std::string range = options.frames ? frameRangeText(*options.frames) : "all";
    const std::string colors = declaredText(options.declared);
    const std::string declared = colors.empty() ? "" : " (declared: " + colors + ")";
    const std::string count = plan.frames ? std::to_string(*plan.frames) : "number not known";
    std::cout << "Input:       " << printable(options.input) << " (" << plan.inputFormat << ", "
              << plan.inputCodec << ", " << plan.inputPixelFormat << ", " << plan.colorMatrix << " "
              << plan.colorRange << " range" << declared << ", " << size << ")\n"
              << "Output:      " << printable(plan.output) << " (" << plan.outputFormat << ", "
              << encodingText(plan) << ")\n"
              << "Frames:      " << range << " (" << count << ")\n"
              << "Controls:    " << controlsText(options.controls) << "\n"
              << "Neighbours:  ";
    if (plan.neighbours == 0) {
        std::cout << "none\n";
    } else {
        std::cout << "up to " << plan.neighbours << " to each side, from " << plan.neighbourSource
                  << "\n";
    }
    std::cout << "Depth:       " << plan.worldDepth << " bits per channel\n"
              << "Memory:      up to about " << (plan.memory >> 20) << " MiB\n"
              << "Module:      " << printable(options.modulePath) << "\n"
              << "Nothing was written.\n";
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
        printPlan(request, plan);
    }
    return {dryRunJson(request, plan), {}, {}};
}

std::string incompleteText(const RenderSummary& summary) {
    if (summary.framesMissing == 0) {
        return summary.inputFailed
                   ? summary.output + ": is written, but only as far as the input can be read"
                   : std::string();
    }
    const std::string count =
        std::to_string(summary.framesMissing) + (summary.framesMissing == 1 ? " frame" : " frames");
    return summary.output + ": is written, but lacks " + count + " of the input; " +
           (summary.leavesNumbersOut ? "no files were written for the numbers"
                                     : "those before stand in for what is missing");
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
    return {summaryJson(request, summary), framesText(summary), incompleteText(summary)};
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
