#pragma once

#include <CLI/CLI.hpp>

#include <memory>

namespace tintwell::tool {

/// Help texts whose descriptions are broken into lines that fit 80 columns.
std::shared_ptr<CLI::Formatter> makeHelpFormatter();

} // namespace tintwell::tool
