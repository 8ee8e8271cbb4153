#pragma once

#include "tool/render/output_names.h"
#include "tool/terminal/progress.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tintwell::tool {

enum class ClipState : std::uint8_t { Done, Incomplete, Failed, Interrupted, NotBegun };

/// For programs: "done", "incomplete", "failed", "interrupted", "not begun".
const char* nameOf(ClipState state);

/// What became of a clip of several.
struct ClipOutcome {
    ClipNames names;
    ClipState state = ClipState::NotBegun;
    std::string text; ///< what was done, or what was in the way
};

/// Renders one of the clips; what it throws is told as that clip's failure.
using ClipWork = std::function<ClipOutcome(const ClipNames& clip, const ProgressJob& job)>;

/// Does the work on each of the clips. One that fails does not keep the others from being rendered;
/// once `stop` is set, none is begun any more. Tells failures as they come.
std::vector<ClipOutcome> renderEach(const std::vector<ClipNames>& clips, const ClipWork& work,
                                    const std::atomic<bool>& stop);

/// The outcomes as a table for people, on standard error.
void printOutcomes(const std::vector<ClipOutcome>& outcomes);

/// Throws where not all clips are done: RenderStopped where the work was interrupted, otherwise
/// UserError with how many there are.
void requireAllDone(const std::vector<ClipOutcome>& outcomes);

} // namespace tintwell::tool
