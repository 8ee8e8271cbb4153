#include "tool/commands/preview_command.h"

#include "inspect/clip_walk.h"
#include "inspect/color_change.h"
#include "media/image_sequence.h"
#include "tool/options/clip_options.h"
#include "tool/options/effect_options.h"
#include "tool/options/output_options.h"
#include "tool/preview/preview_picture.h"
#include "tool/render/frame_search.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/text_output.h"
#include "tool/terminal/user_error.h"
#include "tool/values/control_catalog.h"
#include "tool/values/control_values.h"
#include "tool/values/option_values.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

namespace tintwell::tool {
namespace {

struct PreviewRequest {
    ClipOptions clip;
    EffectOptions effect;
    std::optional<double> seconds; ///< empty: the first frame
    OutputOptions output;          ///< named after the input where it has no path
    preview::PreviewOptions picture;
};

/// "holiday-preview-75.png" for frame 75 of "clips/holiday.mp4", in the current folder: the one of
/// the input may be a card or a server that is not to be written to.
std::string nameFor(const std::string& input, std::int64_t frame) {
    const auto sequence = media::parseSequence(input);
    std::string stem = sequence ? sequence->prefix : std::filesystem::path(input).stem().string();
    stem.erase(stem.find_last_not_of("._- ") + 1);
    return (stem.empty() ? "" : stem + "-") + "preview-" + std::to_string(frame) + ".png";
}

std::string titleOf(const std::string& input, const inspect::FrameFindings& findings) {
    char text[64];
    std::snprintf(text, sizeof text, ", frame %lld at %.3f s",
                  static_cast<long long>(findings.frame), findings.seconds);
    return std::filesystem::path(input).filename().string() + text;
}

/// The values that are in force at one frame.
host::ControlTracks controlsAt(const host::ControlTracks& controls, std::int64_t frame) {
    host::ControlTracks values;
    for (const ControlInfo& info : controlCatalog()) {
        values[info.control] =
            host::ControlTrack(controls[info.control].valueAt(static_cast<std::int32_t>(frame)));
    }
    return values;
}

/// A value stays in one line with its name, which is not broken at its hyphens.
std::string keptTogether(const std::string& list) {
    std::string text;
    for (const char c : list) {
        const bool within = c == ' ' && !text.empty() && text.back() != ',';
        text += within ? "\u00a0" : c == '-' ? "\u2011" : std::string(1, c);
    }
    return text;
}

std::vector<std::string> captionOf(const PreviewRequest& request,
                                   const inspect::FrameFindings& findings) {
    inspect::ChangeMeter meter;
    meter.add(findings);
    const std::string draft = request.clip.highQuality ? "" : " (draft: not smoothed)";
    return {"Correction: " + inspect::castSentence(meter.change()),
            "Controls: " +
                keptTogether(controlsText(controlsAt(request.clip.controls, findings.frame))) +
                draft};
}

/// A file is not to be taken for what it is not.
void requirePngName(const std::string& output) {
    const std::string extension = extensionOf(output);
    if (!extension.empty() && extension != ".png") {
        throw UserError(output + ": previews are PNG files; give a name that ends in .png",
                        ExitCode::Usage);
    }
}

void runPreview(PreviewRequest& request, const std::atomic<bool>& stop) {
    requirePngName(request.output.path);
    request.clip.controls = resolveControls(request.effect, request.output.path);
    FrameSearch search(walkOptions(request.clip), progressStyle(request.output), stop);
    const std::int64_t index = search.shownAt(request.seconds);
    if (request.output.path.empty()) {
        request.output.path = nameFor(request.clip.input, index);
    }
    TextOutput output(request.output.path, request.clip.files, request.output.overwrite);
    const inspect::InspectedFrame frame = search.inspect(index);
    request.picture.title = titleOf(request.clip.input, frame.findings);
    request.picture.caption = captionOf(request, frame.findings);
    preview::drawPreview(frame, request.picture).writePng(output.stream());
    output.commit();
    printWarnings(frame.warnings);
    tellWritten(request.output);
}

void addPictureOptions(CLI::App& app, PreviewRequest& request) {
    addTimeOption(app, request.seconds, "the first frame");
    addOutputOptions(app, request.output,
                     "Write to this PNG file; if not given, to INPUT-preview-FRAME.png in the "
                     "current folder, - for standard output");
    app.add_flag("--split", request.picture.split,
                 "One picture, its left half before and its right half after")
        ->group(kOutputGroup);
    addValueOption(app, "--width", "PIXELS",
                   "Width of the picture at most (" + std::to_string(request.picture.width) +
                       " if not given); frames are made smaller to fit, never larger",
                   [&request](const std::string& text) {
                       request.picture.width = static_cast<int>(parseReal(
                           text, preview::kLeastWidth, preview::kGreatestWidth, "pixels"));
                   })
        ->group(kOutputGroup);
}

} // namespace

Command addPreviewCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand(
        "preview", "Draw a frame before and after, with histograms and levels");
    const auto request = std::make_shared<PreviewRequest>();
    addInputArgument(app, request->clip);
    addPictureOptions(app, *request);
    addControlOptions(app, request->effect);
    addReadingOptions(app, request->clip);
    app.footer("Example:\n"
               "  tintwell preview holiday.mp4 --at 1:02.5 --split -o holiday.png");
    return {&app, [request](const std::atomic<bool>& stop) { runPreview(*request, stop); }};
}

} // namespace tintwell::tool
