#pragma once

#include "module/analysis/correction_options.h"
#include "module/analysis/levels_pairs.h"
#include "module/analysis/tone_colors.h"

#include <optional>

namespace tintwell {

/// The near-neutral colour in the middle of the frame's tonal range, on the input levels, as the
/// corrected frame shows it. None where there is too little of it.
std::optional<Rgb> findNeutralMidtone(const PixelView& pixels, const LevelsPairs& pairs);

/// Writes the gammas that move the found midtone onto the cast-free target; their geometric mean
/// is 1, so that the brightness of the midtones stays. All 100, and false, where none is found.
bool snapMidtoneGammas(Gammas& gammas, const LevelsPairs& pairs, const PixelView& pixels,
                       const RgbBytes& midtoneColor);

} // namespace tintwell
