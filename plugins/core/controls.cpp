#include "plugins/core/controls.h"

#include <array>

namespace tintwell::plugins {
namespace {

double within(double value, double highest) {
    if (!(value > 0.0)) {
        return 0.0;
    }
    return value < highest ? value : highest;
}

} // namespace

ControlValues valuesOf(const Controls& controls) {
    std::array<ParamDef, kParameterCount> records{};
    std::array<ParamDef*, kParameterCount> params{};
    for (std::size_t i = 0; i < records.size(); ++i) {
        params[i] = &records[i];
    }
    const auto record = [&](Param param) -> ParamDef& {
        return records[static_cast<std::size_t>(param)];
    };
    record(Param::TemporalSmoothing).slider.value = within(controls.temporalSmoothing, 10.0);
    record(Param::SceneDetect).checkbox.value = controls.sceneDetect ? 1 : 0;
    record(Param::BlackClip).slider.value = within(controls.blackClip, 10.0);
    record(Param::WhiteClip).slider.value = within(controls.whiteClip, 10.0);
    record(Param::SnapNeutralMidtones).checkbox.value = controls.snapNeutralMidtones ? 1 : 0;
    record(Param::BlendWithOriginal).slider.value = within(controls.blendWithOriginal, 100.0);
    ControlValues values;
    readControls(params.data(), values); // nothing is missing, so nothing fails
    return values;
}

} // namespace tintwell::plugins
