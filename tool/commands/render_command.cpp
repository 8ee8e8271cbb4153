#include "tool/commands/render_command.h"

#include "inspect/color_change.h"
#include "media/clip_info.h"
#include "media/write/output_stream.h"
#include "tool/findings/summary_text.h"
#include "tool/options/clip_options.h"
#include "tool/options/effect_options.h"
#include "tool/options/module_path.h"
#include "tool/options/output_options.h"
#include "tool/options/progress_option.h"
#include "tool/render/frame_search.h"
#include "tool/render/render_pipeline.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/printable.h"
#include "tool/terminal/user_error.h"
#include "tool/values/control_values.h"
#include "tool/values/option_values.h"
#include "tool/values/render_options.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <memory>
#include <unistd.h>

namespace tintwell::tool {
namespace {

/// The widest range that an encoder in use gives its constant rate factor.
constexpr double kLargestCrf = 63.0;

struct RenderRequest {
    RenderOptions options;
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
    app.add_option("--video-codec", options.videoCodec,
                   "FFmpeg's name of the encoder; otherwise the usual one of the format")
        ->type_name("NAME")
        ->group(kGroup);
    app.add_option("--pixel-format", options.pixelFormat,
                   "FFmpeg's name of the pixel format; otherwise the input's")
        ->type_name("NAME")
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
    app.add_flag("--overwrite", options.overwrite, "Replace the output if it exists")
        ->group(kGroup);
}

void addReportOptions(CLI::App& app, RenderRequest& request) {
    addProgressOption(app, request.progress);
    app.add_flag("--quiet", request.quiet,
                 "No progress and no summary, only warnings and errors; the summary tells what the "
                 "correction did to a sample of each frame's pixels");
    app.add_flag("--dry-run", request.dryRun,
                 "Open everything and tell what would be done, but write nothing");
    app.add_flag("--json", request.json, "A machine-readable summary on standard output");
}

nlohmann::ordered_json planJson(const RenderRequest& request, const RenderPlan& plan) {
    return {
        {"version", 1},
        {"input", request.options.input},
        {"output", plan.output},
        {"frames", plan.frames ? nlohmann::ordered_json(*plan.frames) : nlohmann::ordered_json()},
        {"seconds", nullptr},
        {"width", plan.width},
        {"height", plan.height},
        {"depth", plan.worldDepth},
        {"input_pixel_format", plan.inputPixelFormat},
        {"output_pixel_format", plan.outputPixelFormat},
        {"video_codec", plan.videoCodec},
        {"color_matrix", plan.colorMatrix},
        {"color_range", plan.colorRange},
        {"warnings", plan.warnings},
    };
}

/// File names are bytes; those that are no UTF-8 must not make it fail.
void printJson(const nlohmann::ordered_json& document) {
    using ErrorHandler = nlohmann::ordered_json::error_handler_t;
    std::cout << printableJson(document.dump(2, ' ', false, ErrorHandler::replace)) << "\n";
}

void printJsonSummary(const RenderRequest& request, const RenderSummary& summary) {
    nlohmann::ordered_json document = planJson(request, summary);
    document["frames"] = summary.framesDone;
    document["frames_missing"] = summary.framesMissing;
    document["seconds"] = summary.seconds;
    document["correction"] = changeJson(summary.change);
    printJson(document);
}

void printSummaryLines(const RenderSummary& summary) {
    char numbers[128];
    const double rate =
        summary.seconds > 0.0 ? static_cast<double>(summary.framesDone) / summary.seconds : 0.0;
    std::snprintf(numbers, sizeof numbers,
                  "%lld frames of %dx%d at %d bits per channel in %.1f s (%.1f per second)",
                  static_cast<long long>(summary.framesDone), static_cast<int>(summary.width),
                  static_cast<int>(summary.height), summary.worldDepth, summary.seconds, rate);
    printNote(summary.output + ": " + numbers);
    std::snprintf(numbers, sizeof numbers, "changed the average pixel by %.1f of 255 levels",
                  summary.change.strength);
    printNote(std::string("the correction ") + numbers + " and " +
              inspect::castSentence(summary.change));
}

void printJsonPlan(const RenderRequest& request, const RenderPlan& plan) {
    nlohmann::ordered_json document = planJson(request, plan);
    document.erase("seconds");
    document["dry_run"] = true;
    document["controls"] = controlsJson(request.options.controls);
    document["neighbours"] = plan.neighbours;
    printJson(document);
}

void printPlan(const RenderRequest& request, const RenderPlan& plan) {
    const RenderOptions& options = request.options;
    char size[64];
    std::snprintf(size, sizeof size, "%dx%d, %.6g frames per second", static_cast<int>(plan.width),
                  static_cast<int>(plan.height), plan.frameRate);
    const std::string range = options.frames ? frameRangeText(*options.frames) : "all";
    const std::string count = plan.frames ? std::to_string(*plan.frames) : "number not known";
    std::cout << "Input:       " << printable(options.input) << " (" << plan.inputFormat << ", "
              << plan.inputCodec << ", " << plan.inputPixelFormat << ", " << plan.colorMatrix << " "
              << plan.colorRange << " range, " << size << ")\n"
              << "Output:      " << printable(plan.output) << " (" << plan.outputFormat << ", "
              << plan.videoCodec << ", " << plan.outputPixelFormat << ")\n"
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
              << "Module:      " << printable(options.modulePath) << "\n"
              << "Nothing was written.\n";
}

void showPlan(const RenderRequest& request) {
    const RenderPlan plan = planRender(request.options);
    printWarnings(plan.warnings);
    if (request.json) {
        printJsonPlan(request, plan);
    } else {
        printPlan(request, plan);
    }
}

UserError incomplete(const RenderSummary& summary) {
    const std::string count =
        std::to_string(summary.framesMissing) + (summary.framesMissing == 1 ? " frame" : " frames");
    return UserError(summary.output + ": is written, but lacks " + count + " of the input; " +
                         (summary.leavesNumbersOut ? "no files were written for the numbers"
                                                   : "those before stand in for what is missing"),
                     ExitCode::Incomplete);
}

void runRender(RenderRequest& request, const std::atomic<bool>& stop) {
    RenderOptions& options = request.options;
    const bool toStandardOutput = options.output == media::kStandardStream ||
                                  media::descriptorNamed(options.output) == STDOUT_FILENO;
    if (request.json && !request.dryRun && toStandardOutput) {
        throw UserError("--json and the output '" + options.output +
                            "' both want standard output; write the clip to a "
                            "file, or leave --json out",
                        ExitCode::Usage);
    }
    options.controls = resolveControls(request.effect, options.output);
    options.modulePath = findModule(request.effect.module).string();
    if (request.quiet && request.progress == ProgressStyle::Auto) {
        request.progress = ProgressStyle::None;
    }
    resolveTimes(options, request.progress, stop);
    if (request.dryRun) {
        showPlan(request);
        return;
    }
    const std::unique_ptr<Progress> progress = makeProgress(request.progress);
    const RenderSummary summary = renderClip(options, *progress, stop);
    printWarnings(summary.warnings);
    if (!request.quiet) {
        printSummaryLines(summary);
    }
    if (request.json) {
        printJsonSummary(request, summary);
    }
    if (summary.framesMissing > 0) {
        throw incomplete(summary);
    }
}

} // namespace

Command addRenderCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand("render", "Correct the colours of a clip");
    const auto request = std::make_shared<RenderRequest>();
    addInputArgument(app, request->options);
    app.add_option("OUTPUT", request->options.output,
                   "File or image sequence to write, or - for standard output")
        ->required()
        ->type_name("");
    addEffectOptions(app, request->effect);
    addClipOptions(app, request->options);
    addEncoderOptions(app, request->options);
    addReportOptions(app, *request);
    app.footer("Example:\n"
               "  tintwell render holiday.mp4 corrected.mp4 --black-clip 0.5 --crf 18");
    return {&app, [request](const std::atomic<bool>& stop) { runRender(*request, stop); }};
}

} // namespace tintwell::tool
