#pragma once

#include "tool/options/effect_options.h"
#include "tool/values/render_options.h"

#include <string>
#include <vector>

namespace tintwell::tool {

/// The word as any POSIX shell must be given it: as it is, in single quotes where it needs them.
std::string shellWord(const std::string& word);

/// The words of the `tintwell render` command with these settings, as a shell must be given them.
/// Its output is beside the input.
std::vector<std::string> renderCommand(const ClipOptions& clip, const EffectOptions& effect);

} // namespace tintwell::tool
