#pragma once

#include "tool/terminal/progress.h"

#include <CLI/CLI.hpp>

#include <string>

namespace tintwell::tool {

/// What commands that write one file have in common.
struct OutputOptions {
    std::string path; ///< empty where the command line names none
    bool overwrite = false;
    bool quiet = false;
    ProgressStyle progress = ProgressStyle::Auto;
};

constexpr const char* kOutputGroup = "Output";

/// What is wrong with an empty file name, as a variable that is not set gives it.
std::string requireText(const std::string& text);

/// -o, --overwrite, --progress and --quiet. Gives -o back, for what a command asks of it.
CLI::Option* addOutputOptions(CLI::App& app, OutputOptions& options, const std::string& help);

/// With what `--quiet` makes of it.
ProgressStyle progressStyle(const OutputOptions& options);

/// Tells the name of the file that was written; nothing of standard output.
void tellWritten(const OutputOptions& options);

} // namespace tintwell::tool
