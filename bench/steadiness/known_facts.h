#pragma once

#include "clips.h"
#include "steady/observation.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace tintwell::bench {

/// The controls that levels are found with.
inline constexpr AnalysisControls kFoundWith = {10, 10, 0};

/// The picture's pixels, one after the other, as 8-bit A,R,G,B. Its levels are whole.
std::vector<std::byte> argbOf(const Picture& picture);

/// What is found of a clip's frames; `visit` is shown each of them on the way.
std::vector<steady::FrameFacts>
factsOf(const ClipDefinition& clip,
        const std::function<void(std::size_t, const Picture&)>& visit = {});

} // namespace tintwell::bench
