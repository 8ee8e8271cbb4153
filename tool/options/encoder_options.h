#pragma once

#include "tool/values/render_options.h"

#include <CLI/CLI.hpp>

namespace tintwell::tool {

/// How the output is written; `options` must outlive the parsing.
void addEncoderOptions(CLI::App& app, RenderOptions& options);

} // namespace tintwell::tool
