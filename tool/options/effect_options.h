#pragma once

#include "host/control_track.h"

#include <CLI/CLI.hpp>

#include <map>
#include <string>

namespace tintwell::tool {

/// What every command that runs the effect can be told about it.
struct EffectOptions {
    std::map<host::Control, double> values; ///< given on the command line
    std::string controlsFile;               ///< empty: none
    std::string module;                     ///< empty: search for it
};

/// What is referred to must outlive the parsing.
void addModuleOption(CLI::App& app, std::string& module);
void addControlOptions(CLI::App& app, EffectOptions& options);
/// Both.
void addEffectOptions(CLI::App& app, EffectOptions& options);

/// Initial values, replaced by the controls file's, replaced by the command line's. Throws
/// UserError when the file is wrong, or is the output.
host::ControlTracks resolveControls(const EffectOptions& options, const std::string& output);

} // namespace tintwell::tool
