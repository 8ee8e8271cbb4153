#pragma once

#include "module/apply/levels_record.h"
#include "module/frame/planar_image.h"

namespace tintwell {

/// Applies the levels in place to the red, green and blue planes of the image; alpha stays as it
/// is. 16-bit samples are looked up in steps of 8. An image of another depth than 8 and 16 is left
/// alone. Throws std::bad_alloc when there is no memory for the tables.
void applyLevels(const PlanarImage& image, const LevelsRecord& levels);

} // namespace tintwell
