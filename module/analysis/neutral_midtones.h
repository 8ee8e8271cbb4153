#pragma once

#include "module/analysis/correction_options.h"
#include "module/analysis/levels_pairs.h"
#include "module/analysis/tone_colors.h"
#include "module/frame/frame_memory.h"

#include <optional>

namespace tintwell {

/// The near-neutral colour in the middle of the image's tonal range, on the input levels, as the
/// corrected image shows it. None where there is too little of it.
std::optional<Rgb> findNeutralMidtone(const PlanarImage& image, const LevelsPairs& pairs,
                                      SpareMemory* spares);

/// Writes the gammas that move the found midtone onto the cast-free target; their geometric mean
/// is 1, so that the brightness of the midtones stays. All 100, and false, where none is found.
bool snapMidtoneGammas(Gammas& gammas, const LevelsPairs& pairs, const PlanarImage& image,
                       const RgbBytes& midtoneColor, SpareMemory* spares);

} // namespace tintwell
