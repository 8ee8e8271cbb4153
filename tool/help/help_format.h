#pragma once

#include <CLI/CLI.hpp>

#include <cstddef>
#include <memory>
#include <string>

namespace tintwell::tool {

/// The words of the text in lines of at most `width` columns, the last without its end.
std::string wrapped(const std::string& text, std::size_t width);

/// Help texts whose descriptions are broken into lines that fit 80 columns.
std::shared_ptr<CLI::Formatter> makeHelpFormatter();

} // namespace tintwell::tool
