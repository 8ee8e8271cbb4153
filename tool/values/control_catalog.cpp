#include "tool/values/control_catalog.h"

#include "tool/values/option_values.h"

#include <algorithm>

namespace tintwell::tool {

const ControlCatalog& controlCatalog() {
    using host::Control;
    static const ControlCatalog kCatalog{{
        {Control::TemporalSmoothing, "temporal-smoothing", false, 0.0, 10.0, 0.0, "seconds",
         "Average the correction over this much time around each frame, so that it does not "
         "flicker; 0 corrects every frame by itself"},
        {Control::SceneDetect, "scene-detect", true, 0.0, 1.0, 0.0, "",
         "Stop the averaging at scene cuts"},
        {Control::BlackClip, "black-clip", false, 0.0, 10.0, 0.1, "percent",
         "Share of the darkest pixels that may become black"},
        {Control::WhiteClip, "white-clip", false, 0.0, 10.0, 0.1, "percent",
         "Share of the lightest pixels that may become white"},
        {Control::SnapNeutralMidtones, "snap-neutral-midtones", true, 0.0, 1.0, 0.0, "",
         "Find an average nearly neutral colour and make it neutral with the gammas"},
        {Control::BlendWithOriginal, "blend-with-original", false, 0.0, 100.0, 0.0, "percent",
         "How much of the original is mixed into the result; 100 is the original"},
    }};
    return kCatalog;
}

const ControlInfo* findControl(std::string_view key) {
    const auto& catalog = controlCatalog();
    const auto* found = std::find_if(catalog.begin(), catalog.end(),
                                     [&](const ControlInfo& info) { return info.key == key; });
    return found == catalog.end() ? nullptr : found;
}

std::string rangeText(const ControlInfo& control) {
    return rangeText(control.minimum, control.maximum, control.unit);
}

host::ControlTracks initialControls() {
    host::ControlTracks tracks;
    for (const ControlInfo& info : controlCatalog()) {
        tracks[info.control] = host::ControlTrack(info.initial);
    }
    return tracks;
}

} // namespace tintwell::tool
