#include "tool/output_options.h"

#include "media/clip_info.h"
#include "tool/progress_option.h"

#include <iostream>

namespace tintwell::tool {

CLI::Option* addOutputOptions(CLI::App& app, OutputOptions& options, const std::string& help) {
    CLI::Option* const output =
        app.add_option("-o,--output", options.path, help)->type_name("FILE")->group(kOutputGroup);
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

void printWarnings(const std::vector<std::string>& warnings) {
    for (const std::string& warning : warnings) {
        std::cerr << "tintwell: warning: " << warning << "\n";
    }
}

void tellWritten(const OutputOptions& options) {
    const bool isFile = !options.path.empty() && options.path != media::kStandardStream;
    if (isFile && !options.quiet) {
        std::cerr << "tintwell: wrote " << options.path << "\n";
    }
}

} // namespace tintwell::tool
