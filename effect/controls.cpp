#include "effect/controls.h"

#include "effect/localisation.h"
#include "effect/parameter_checkout.h"
#include "effect/text_services.h"
#include "numeric/rounding.h"

#include <cstring>

namespace tintwell {
namespace {

struct SliderShape {
    float maximum; ///< both ranges begin at 0
    float defaultValue;
    double initialValue;
    std::int16_t precision;
    std::int16_t displayFlags;
};

struct ControlDeclaration {
    Param param;
    Text name;
    ControlType type;
    std::uint32_t flags;
    SliderShape slider; ///< of a float slider only
};

constexpr std::uint32_t kSupervisedSlider =
    control_flags::kSupervise | control_flags::kStartCollapsed;
// The default is the nearest 32-bit number to 0.1, the initial value the nearest 64-bit one.
constexpr SliderShape kClipSlider = {10.0F, 0.1F, 0.1, 2, kDisplayAsPercent};

constexpr ControlDeclaration kControls[] = {
    {Param::TemporalSmoothing,
     Text::TemporalSmoothing,
     ControlType::FloatSlider,
     kSupervisedSlider,
     {10.0F, 0.0F, 0.0, 2, 0}},
    {Param::SceneDetect, Text::SceneDetect, ControlType::Checkbox, control_flags::kSupervise, {}},
    {Param::BlackClip, Text::BlackClip, ControlType::FloatSlider, kSupervisedSlider, kClipSlider},
    {Param::WhiteClip, Text::WhiteClip, ControlType::FloatSlider, kSupervisedSlider, kClipSlider},
    {Param::SnapNeutralMidtones,
     Text::SnapNeutralMidtones,
     ControlType::Checkbox,
     control_flags::kSupervise,
     {}},
    {Param::BlendWithOriginal,
     Text::BlendWithOriginal,
     ControlType::FloatSlider,
     control_flags::kStartCollapsed,
     {100.0F, 0.0F, 0.0, 1, kDisplayAsPercent}},
};

void describeSlider(ParamDef& param, const SliderShape& shape) {
    param.slider.value = shape.initialValue;
    param.slider.validMaximum = shape.maximum;
    param.slider.sliderMaximum = shape.maximum;
    param.slider.defaultValue = shape.defaultValue;
    param.slider.precision = shape.precision;
    param.slider.displayFlags = shape.displayFlags;
}

ErrorCode addControl(const InData& inData, const ControlDeclaration& control) {
    ParamDef param;
    std::memset(&param, 0, sizeof(param));
    param.type = control.type;
    param.flags = control.flags;
    const ErrorCode named = getString(inData, control.name, param.name, sizeof(param.name));
    if (named != error::kNone) {
        return named;
    }
    param.id = static_cast<std::uint32_t>(control.param);
    if (control.type == ControlType::FloatSlider) {
        describeSlider(param, control.slider);
    } else {
        param.checkbox.label = "";
    }
    return inData.addParameter(inData.effectReference, -1, &param);
}

/// Hundredths of a percent of a clip slider.
std::int32_t clipHundredths(const ParamDef& param) {
    return truncateToInt32(param.slider.value * 100.0);
}

const ParamDef* paramAt(ParamDef* const* params, Param param) {
    return params[static_cast<std::size_t>(param)];
}

} // namespace

ErrorCode addControls(const InData& inData, OutData& outData) {
    if (inData.addParameter == nullptr) {
        return error::kMissingRecord;
    }
    for (const ControlDeclaration& control : kControls) {
        const ErrorCode code = addControl(inData, control);
        if (code != error::kNone) {
            return code;
        }
    }
    outData.parameterCount = kParameterCount;
    return error::kNone;
}

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
    for (const ControlDeclaration& control : kControls) {
        if (paramAt(params, control.param) == nullptr) {
            return error::kMissingRecord;
        }
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
