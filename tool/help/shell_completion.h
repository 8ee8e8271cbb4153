#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tintwell::tool {

// Scripts that complete the program's commands, options and values in a shell, generated from their
// definitions. Each works from the folder in which its shell looks for completions, and sourced.

std::string bashCompletion(const CLI::App& program);
std::string zshCompletion(const CLI::App& program);
std::string fishCompletion(const CLI::App& program);

} // namespace tintwell::tool
