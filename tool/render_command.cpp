#include "tool/render_command.h"

#include "tool/effect_options.h"
#include "tool/module_path.h"
#include "tool/option_values.h"
#include "tool/progress.h"
#include "tool/render_options.h"
#include "tool/render_pipeline.h"
#include "tool/user_error.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <memory>

namespace tintwell::tool {
namespace {

constexpr const char* kStandardStream = "-";
/// The widest range that an encoder in use gives its constant rate factor.
constexpr double kLargestCrf = 63.0;

struct RenderRequest {
    RenderOptions options;
    EffectOptions effect;
    ProgressStyle progress = ProgressStyle::Auto;
    bool quiet = false;
    bool json = false;
};

CLI::Option* addKeyValueOption(CLI::App& app, const std::string& name, const std::string& help,
                               std::vector<KeyValue>& target) {
    const auto read = [name, &target](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            try {
                target.push_back(parseKeyValue(text));
            } catch (const std::invalid_argument& error) {
                throw CLI::ValidationError(name, error.what());
            }
        }
    };
    return app.add_option_function<std::vector<std::string>>(name, read, help)
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void addSourceOptions(CLI::App& app, RenderOptions& options) {
    constexpr const char* kGroup = "Input";
    addValueOption(app, "--frames", "FIRST-LAST",
                   "Only these frames, counted from 0, both included; one number for one frame",
                   [&options](const std::string& text) { options.frames = parseFrameRange(text); })
        ->group(kGroup);
    app.add_option("--input-format", options.inputFormat,
                   "How the input is read, by FFmpeg's name of the format, where it cannot be told "
                   "from the file (for example rawvideo)")
        ->type_name("NAME")
        ->group(kGroup);
    addKeyValueOption(app, "--input-option",
                      "What a raw stream does not tell, as FFmpeg names it, for example "
                      "video_size=1920x1080 and pixel_format=yuv420p; may be given several times",
                      options.inputOptions)
        ->group(kGroup);
    addValueOption(
        app, "--frame-rate", "RATE",
        "Frames per second of an image sequence or raw stream, for example 25 or "
        "30000/1001",
        [&options](const std::string& text) { options.frameRate = parseFrameRate(text); })
        ->group(kGroup);
    addChoiceOption<DepthChoice>(
        app, "--depth",
        {{"auto", DepthChoice::Auto}, {"8", DepthChoice::Bits8}, {"16", DepthChoice::Bits16}},
        options.depth, "Bits per channel to work at; auto takes 16 where the input has more than 8")
        ->group(kGroup);
    addChoiceOption<bool>(app, "--quality", {{"high", true}, {"draft", false}}, options.highQuality,
                          "A draft leaves the temporal smoothing out")
        ->group(kGroup);
}

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
    addChoiceOption<ProgressStyle>(app, "--progress",
                                   {{"auto", ProgressStyle::Auto},
                                    {"bar", ProgressStyle::Bar},
                                    {"lines", ProgressStyle::Lines},
                                    {"json", ProgressStyle::Json},
                                    {"none", ProgressStyle::None}},
                                   request.progress,
                                   "Progress on standard error; auto is a bar on a terminal and "
                                   "nothing elsewhere");
    app.add_flag("--quiet", request.quiet, "No progress and no summary, only warnings and errors");
    app.add_flag("--json", request.json, "A machine-readable summary on standard output");
}

void printJsonSummary(const RenderRequest& request, const RenderSummary& summary) {
    const nlohmann::ordered_json document{
        {"version", 1},
        {"input", request.options.input},
        {"output", summary.output},
        {"frames", summary.frames},
        {"seconds", summary.seconds},
        {"width", summary.width},
        {"height", summary.height},
        {"depth", summary.worldDepth},
        {"input_pixel_format", summary.inputPixelFormat},
        {"output_pixel_format", summary.outputPixelFormat},
        {"video_codec", summary.videoCodec},
        {"color_matrix", summary.colorMatrix},
        {"color_range", summary.colorRange},
        {"warnings", summary.warnings},
    };
    // File names are bytes; those that are no UTF-8 must not make the summary fail.
    using ErrorHandler = nlohmann::ordered_json::error_handler_t;
    std::cout << document.dump(2, ' ', false, ErrorHandler::replace) << "\n";
}

void printSummaryLine(const RenderSummary& summary) {
    char numbers[128];
    const double rate =
        summary.seconds > 0.0 ? static_cast<double>(summary.frames) / summary.seconds : 0.0;
    std::snprintf(numbers, sizeof numbers,
                  "%lld frames of %dx%d at %d bits per channel in %.1f s (%.1f per second)",
                  static_cast<long long>(summary.frames), static_cast<int>(summary.width),
                  static_cast<int>(summary.height), summary.worldDepth, summary.seconds, rate);
    std::cerr << "tintwell: " << summary.output << ": " << numbers << "\n";
}

void runRender(RenderRequest& request, const std::atomic<bool>& stop) {
    RenderOptions& options = request.options;
    if (request.json && options.output == kStandardStream) {
        throw UserError("--json and the output '-' both want standard output; write the clip to a "
                        "file, or leave --json out",
                        ExitCode::Usage);
    }
    options.controls = resolveControls(request.effect);
    options.modulePath = findModule(request.effect.module).string();
    if (request.quiet && request.progress == ProgressStyle::Auto) {
        request.progress = ProgressStyle::None;
    }
    const std::unique_ptr<Progress> progress = makeProgress(request.progress);
    const RenderSummary summary = renderClip(options, *progress, stop);
    for (const std::string& warning : summary.warnings) {
        std::cerr << "tintwell: warning: " << warning << "\n";
    }
    if (!request.quiet) {
        printSummaryLine(summary);
    }
    if (request.json) {
        printJsonSummary(request, summary);
    }
}

} // namespace

Command addRenderCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand("render", "Correct the colours of a clip");
    const auto request = std::make_shared<RenderRequest>();
    app.add_option("INPUT", request->options.input,
                   "Video file, image, image sequence (frame.%04d.png), or - for standard input")
        ->required()
        ->type_name("");
    app.add_option("OUTPUT", request->options.output,
                   "File or image sequence to write, or - for standard output")
        ->required()
        ->type_name("");
    addEffectOptions(app, request->effect);
    addSourceOptions(app, request->options);
    addEncoderOptions(app, request->options);
    addReportOptions(app, *request);
    app.footer("Example:\n"
               "  tintwell render holiday.mp4 corrected.mp4 --black-clip 0.5 --crf 18");
    return {&app, [request](const std::atomic<bool>& stop) { runRender(*request, stop); }};
}

} // namespace tintwell::tool
