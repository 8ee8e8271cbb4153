#include "tool/options/encoder_options.h"

#include "tool/options/clip_options.h"
#include "tool/options/command.h"
#include "tool/values/option_values.h"

#include <string>

namespace tintwell::tool {
namespace {

/// The widest range that an encoder in use gives its constant rate factor.
constexpr double kLargestCrf = 63.0;

} // namespace

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

} // namespace tintwell::tool
