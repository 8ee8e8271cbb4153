#pragma once

#include "module/services/control_values.h"

namespace tintwell::plugins {

/// The module's six controls in the units that people see, with its initial values.
struct Controls {
    double temporalSmoothing = 0.0; ///< seconds, 0 to 10
    bool sceneDetect = false;
    double blackClip = 0.1; ///< percent, 0 to 10
    double whiteClip = 0.1; ///< percent, 0 to 10
    bool snapNeutralMidtones = false;
    double blendWithOriginal = 0.0; ///< percent, 0 to 100
};

/// What the module reads them as. Values outside their ranges count as the nearest end,
/// not-a-number as the lowest.
ControlValues valuesOf(const Controls& controls);

} // namespace tintwell::plugins
