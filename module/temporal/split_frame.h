#pragma once

#include "module/frame/analysis_controls.h"
#include "module/frame/planar_image.h"
#include "module/interface/host_interface.h"
#include "module/temporal/frame_store.h"

#include <memory>

namespace tintwell {

/// A frame as planes, with the control values of its analysis beside them.
struct SplitFrame {
    std::unique_ptr<CFrameStoreBase> store; ///< owns the planes
    PlanarImage image;
};

/// Splits the world into a store of its depth that works in place. The world and the spares, which
/// may be null, must outlive the frame. On an error the frame is left as it was.
ErrorCode splitFrame(const InData& inData, const EffectWorld& world,
                     const AnalysisControls& controls, SpareMemory* spares, SplitFrame& frame);

} // namespace tintwell
