#pragma once

#include "media/stream_wishes.h"

#include <CLI/CLI.hpp>

namespace tintwell::tool {

/// What is to become of the clip's streams beside its video; `wishes` must outlive the parsing.
void addStreamOptions(CLI::App& app, media::StreamWishes& wishes);

} // namespace tintwell::tool
