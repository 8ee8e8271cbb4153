#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tintwell::tool {

/// "tintwell" for the program, "tintwell-render" for its command render.
std::string manualPageName(const CLI::App& command);

/// The page, for section 1, of the program or of one of its commands, generated from the
/// definitions; in the language of man(7).
std::string manualPage(const CLI::App& command);

} // namespace tintwell::tool
