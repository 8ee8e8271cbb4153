#include "tool/options/effect_options.h"

#include "tool/options/command.h"
#include "tool/terminal/user_error.h"
#include "tool/values/control_catalog.h"
#include "tool/values/controls_file.h"
#include "tool/values/option_values.h"

#include <cctype>
#include <cstdint>
#include <filesystem>
#include <system_error>

namespace tintwell::tool {
namespace {

std::string upperCase(std::string_view text) {
    std::string upper(text);
    for (char& letter : upper) {
        letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    }
    return upper;
}

void addControlOption(CLI::App& app, const ControlInfo& info, EffectOptions& options) {
    const std::string name = "--" + std::string(info.key);
    if (info.isCheckbox) {
        const std::string names = name + ",!--no-" + std::string(info.key);
        app.add_flag_function(
               names,
               [&options, &info](std::int64_t count) {
                   options.values[info.control] = count > 0 ? 1.0 : 0.0;
               },
               std::string(info.help))
            ->group("Controls");
        return;
    }
    const std::string help = std::string(info.help) + "; " + numberText(info.minimum) + " to " +
                             numberText(info.maximum) + ", " + numberText(info.initial) +
                             " if not given";
    addValueOption(app, name, upperCase(info.unit), help,
                   [&options, &info](const std::string& text) {
                       options.values[info.control] =
                           parseReal(text, info.minimum, info.maximum, info.unit);
                   })
        ->group("Controls");
}

} // namespace

void addModuleOption(CLI::App& app, std::string& module) {
    app.add_option("--module", module,
                   "The effect module; otherwise the TINTWELL_MODULE environment variable, else "
                   "the one installed with this program")
        ->type_name("FILE");
}

void addControlOptions(CLI::App& app, EffectOptions& options) {
    for (const ControlInfo& info : controlCatalog()) {
        addControlOption(app, info, options);
    }
    app.add_option("--controls", options.controlsFile,
                   "Read control values, keyframed if wanted, from a JSON file; the options above "
                   "replace what it says")
        ->type_name("FILE")
        ->group("Controls");
}

void addEffectOptions(CLI::App& app, EffectOptions& options) {
    addControlOptions(app, options);
    addModuleOption(app, options.module);
}

host::ControlTracks resolveControls(const EffectOptions& options, const std::string& output) {
    host::ControlTracks tracks = initialControls();
    if (!options.controlsFile.empty()) {
        std::error_code error;
        if (std::filesystem::equivalent(options.controlsFile, output, error)) {
            throw UserError(output + ": is the controls file; write to another name");
        }
        for (auto& [control, track] : readControlsFile(options.controlsFile)) {
            tracks[control] = track;
        }
    }
    for (const auto& [control, value] : options.values) {
        tracks[control] = host::ControlTrack(value);
    }
    return tracks;
}

} // namespace tintwell::tool
