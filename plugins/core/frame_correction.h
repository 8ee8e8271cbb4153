#pragma once

// Applies levels to a host's frame: the second half, which knows nothing of how they were found.

#include "module/apply/levels_record.h"
#include "plugins/core/host_frame.h"

#include <functional>

namespace tintwell::plugins {

struct Correction {
    LevelsRecord levels;
    std::int32_t blend = 0; ///< weight of the original, 0..65536
};

/// Asked between bands of rows; what it throws ends the correction.
using Checkpoint = std::function<void()>;

/// Writes the source, corrected and blended, into the target. Both have the same size, samples and
/// alpha, each in its own layout; they may be the same pixels. Bytes and shorts come out as the
/// module renders them, reals go through LevelCurve. Alpha stays as it is, and so does
/// premultiplied colour whose alpha is 0. Throws std::bad_alloc.
void correct(const SourceFrame& source, const TargetFrame& target, const Correction& correction,
             const Checkpoint& checkpoint);

/// The source's samples as they are, into a target of the same kind.
void copyFrame(const SourceFrame& source, const TargetFrame& target);

} // namespace tintwell::plugins
