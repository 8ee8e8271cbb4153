#include "tool/options/progress_option.h"

#include "tool/options/command.h"

namespace tintwell::tool {

void addProgressOption(CLI::App& app, ProgressStyle& style) {
    addChoiceOption<ProgressStyle>(app, "--progress",
                                   {{"auto", ProgressStyle::Auto},
                                    {"bar", ProgressStyle::Bar},
                                    {"lines", ProgressStyle::Lines},
                                    {"json", ProgressStyle::Json},
                                    {"none", ProgressStyle::None}},
                                   style,
                                   "Progress on standard error; auto is a bar on a terminal and "
                                   "nothing elsewhere");
}

} // namespace tintwell::tool
