#pragma once

// Applies levels that have been found. The frame goes through in bands of rows whose planes stay in
// the nearest caches: it is read once and written once, and the memory grows with a row only.

#include "module/apply/levels_record.h"
#include "module/frame/analysis_controls.h"
#include "module/interface/host_interface.h"

namespace tintwell {

/// What becomes of a frame.
struct FrameCorrection {
    LevelsRecord levels;
    std::int32_t blend = 0;        ///< weight of the original, 0..65536
    std::int32_t channelOrder = 0; ///< 0 for A,R,G,B, 1 for B,G,R,A pixels
};

/// Writes the input, which must have its pixels, into the output, corrected and blended. Returns
/// 512, with nothing written, where the output or its pixels are missing, where it is of another
/// depth, and where it holds more pixels than the input; 512 too where there is something to blend
/// and one of them has no data. They may be one world. Where they overlap otherwise, or are not
/// equally wide, memory of the frame's size is taken. Throws std::bad_alloc.
ErrorCode correctFrame(const EffectWorld& input, EffectWorld* output,
                       const FrameCorrection& correction);

} // namespace tintwell
