#pragma once

#include "module/frame/frame_memory.h"
#include "module/frame/planar_image.h"

namespace tintwell {

/// A 16-bit image with levels in place of its samples, made once so that the analysis, which looks
/// at levels only, need not convert at each of its looks. The alpha plane is not filled.
class LevelImage {
public:
    LevelImage(const PlanarImage& deep, SpareMemory* spares);

    const PlanarImage& image() const { return image_; }

private:
    FrameMemory planes_;
    PlanarImage image_; ///< 8 bits, over planes_
};

} // namespace tintwell
