#include "module/services/control_values.h"

#include "module/numeric/rounding.h"
#include "module/services/parameter_checkout.h"

#include <algorithm>

namespace tintwell {
namespace {

/// Hundredths of a percent of a clip slider.
std::int32_t clipHundredths(const ParamDef& param) {
    return truncateToInt32(param.slider.value * 100.0);
}

const ParamDef* paramAt(ParamDef* const* params, Param param) {
    return params[static_cast<std::size_t>(param)];
}

} // namespace

bool affectsAnalysis(std::int32_t parameterIndex) {
    switch (static_cast<Param>(parameterIndex)) {
    case Param::BlackClip:
    case Param::WhiteClip:
    case Param::SnapNeutralMidtones:
        return true;
    default:
        return false;
    }
}

ErrorCode readControls(ParamDef* const* params, ControlValues& values) {
    const auto isMissing = [](const ParamDef* param) { return param == nullptr; };
    if (std::any_of(params + 1, params + kParameterCount, isMissing)) {
        return error::kMissingRecord;
    }
    values.smoothingSeconds = paramAt(params, Param::TemporalSmoothing)->slider.value;
    values.sceneDetect = paramAt(params, Param::SceneDetect)->checkbox.value;
    values.analysis = {clipHundredths(*paramAt(params, Param::BlackClip)),
                       clipHundredths(*paramAt(params, Param::WhiteClip)),
                       paramAt(params, Param::SnapNeutralMidtones)->checkbox.value};
    values.blend =
        truncateToInt32(paramAt(params, Param::BlendWithOriginal)->slider.value * 65536.0 / 100.0);
    return error::kNone;
}

ErrorCode checkOutAnalysisControls(const InData& inData, std::int32_t time,
                                   AnalysisControls& values) {
    const auto read = [&](Param param, auto take) {
        return readParameter(inData, static_cast<std::int32_t>(param), time,
                             [&](const ParamDef& def) {
                                 take(def);
                                 return error::kNone;
                             });
    };
    ErrorCode code = read(Param::BlackClip,
                          [&](const ParamDef& param) { values.blackClip = clipHundredths(param); });
    if (code == error::kNone) {
        code = read(Param::WhiteClip,
                    [&](const ParamDef& param) { values.whiteClip = clipHundredths(param); });
    }
    if (code == error::kNone) {
        code = read(Param::SnapNeutralMidtones, [&](const ParamDef& param) {
            values.snapNeutralMidtones = param.checkbox.value;
        });
    }
    return code;
}

} // namespace tintwell
