#pragma once

#include "module/apply/levels_record.h"
#include "module/apply/levels_tables.h"
#include "module/frame/planar_image.h"

#include <array>

namespace tintwell {

/// The tables of some levels, for as many images as are wanted.
class LevelsApplication {
public:
    /// For images of 8 or 16 bits. Throws std::bad_alloc when there is no memory for the tables.
    LevelsApplication(const LevelsRecord& levels, int bitDepth);

    /// Applies the levels in place to the red, green and blue planes of the image; alpha stays as
    /// it is. 16-bit samples are looked up in steps of 8. An image of another depth is left alone.
    void applyTo(const PlanarImage& image) const;

private:
    int bitDepth_;
    std::array<LevelsTable, 4> tables_;
};

/// The same for one image.
inline void applyLevels(const PlanarImage& image, const LevelsRecord& levels) {
    LevelsApplication(levels, image.bitDepth).applyTo(image);
}

} // namespace tintwell
