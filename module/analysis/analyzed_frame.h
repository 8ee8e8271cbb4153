#pragma once

#include "module/frame/analysis_controls.h"
#include "module/frame/pixel_view.h"

namespace tintwell {

/// A frame whose levels are searched, and the control values of the search. Owns nothing.
struct AnalyzedFrame {
    PixelView pixels;
    AnalysisControls controls;
};

/// The same of a frame that is split into planes already.
inline AnalyzedFrame analyzedPlanes(const PlanarImage& image) {
    return {viewOfPlanes(image), {image.blackClip, image.whiteClip, image.snapNeutralMidtones}};
}

} // namespace tintwell
