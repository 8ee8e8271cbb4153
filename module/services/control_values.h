#pragma once

// The values of the six controls, as the host hands them to a render or out for another time.

#include "module/frame/analysis_controls.h"
#include "module/interface/host_interface.h"

#include <cstdint>

namespace tintwell {

/// Indices of the parameters as the host counts them; 0 is the input layer.
enum class Param : std::int32_t {
    InputLayer = 0,
    TemporalSmoothing = 1,
    SceneDetect = 2,
    BlackClip = 3,
    WhiteClip = 4,
    SnapNeutralMidtones = 5,
    BlendWithOriginal = 6,
};
inline constexpr std::int32_t kParameterCount = 7;

/// Whether frames that were analysed before a change of this control must be analysed again.
bool affectsAnalysis(std::int32_t parameterIndex);

/// The control values of one frame, scaled as the render uses them.
struct ControlValues {
    double smoothingSeconds = 0.0; ///< 0.0 is no smoothing
    std::int32_t sceneDetect = 0;
    AnalysisControls analysis;
    std::int32_t blend = 0; ///< 0..65536
};

/// Reads parameters 1 to 6; 512 when one is missing.
ErrorCode readControls(ParamDef* const* params, ControlValues& values);

/// Asks the host for the values in force at a time, read as readControls reads them.
ErrorCode checkOutAnalysisControls(const InData& inData, std::int32_t time,
                                   AnalysisControls& values);

} // namespace tintwell
