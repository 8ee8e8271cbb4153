#pragma once

#include "inspect/clip_walk.h"
#include "media/clip_info.h"
#include "media/input/input_file.h"
#include "tool/values/render_options.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tintwell::tool {

// What every command that reads a clip can be told about it, and what the layers below make of it.
// What is referred to must outlive the parsing.

/// An option that may be given several times, each time as KEY=VALUE.
CLI::Option* addKeyValueOption(CLI::App& app, const std::string& name, const std::string& help,
                               std::vector<KeyValue>& target);

void addInputArgument(CLI::App& app, ClipOptions& options);

/// Names the clip that is to be read.
void setInput(ClipOptions& options, const std::string& input);

/// How the clip is read and which of its frames.
void addClipOptions(CLI::App& app, ClipOptions& options);
/// Only the former, for commands that look at one frame.
void addReadingOptions(CLI::App& app, ClipOptions& options);

media::NamedValues namedValues(const std::vector<KeyValue>& options);

/// How the input is to be read.
media::InputOptions inputOptions(const ClipOptions& options);

/// How many frames will be worked on; empty where that cannot be known.
std::optional<std::int64_t> totalFrames(const ClipOptions& options, const media::ClipInfo& info);

/// At the end of the walk: throws UserError where frames of the clip are missing.
void requireAllFrames(const inspect::ClipWalk& walk, const ClipOptions& options);

/// The same frames with the same settings, to be looked at.
inspect::WalkOptions walkOptions(const ClipOptions& options);

} // namespace tintwell::tool
