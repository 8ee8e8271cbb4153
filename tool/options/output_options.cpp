#include "tool/options/output_options.h"

#include "media/clip_info.h"
#include "tool/options/progress_option.h"
#include "tool/terminal/messages.h"

namespace tintwell::tool {

std::string requireText(const std::string& text) {
    return text.empty() ? "a file name cannot be empty" : std::string();
}

CLI::Option* addOutputOptions(CLI::App& app, OutputOptions& options, const std::string& help) {
    CLI::Option* const output = app.add_option("-o,--output", options.path, help)
                                    ->type_name("FILE")
                                    ->check(requireText)
                                    ->group(kOutputGroup);
    app.add_flag("--overwrite", options.overwrite, "Replace the output if it exists")
        ->group(kOutputGroup);
    addProgressOption(app, options.progress);
    app.add_flag("--quiet", options.quiet, "No progress, and no messages but warnings and errors");
    return output;
}

ProgressStyle progressStyle(const OutputOptions& options) {
    return options.quiet && options.progress == ProgressStyle::Auto ? ProgressStyle::None
                                                                    : options.progress;
}

void tellWritten(const OutputOptions& options) {
    const bool isFile = !options.path.empty() && options.path != media::kStandardStream;
    if (isFile && !options.quiet) {
        printNote("wrote " + options.path);
    }
}

} // namespace tintwell::tool
