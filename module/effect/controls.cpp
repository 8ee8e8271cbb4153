#include "module/effect/controls.h"

#include "module/effect/localisation.h"
#include "module/effect/text_services.h"
#include "module/services/control_values.h"

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

} // namespace tintwell
