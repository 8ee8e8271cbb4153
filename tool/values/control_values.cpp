#include "tool/values/control_values.h"

#include "tool/values/control_catalog.h"
#include "tool/values/option_values.h"

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;

Json valueJson(const ControlInfo& info, double value) {
    return info.isCheckbox ? Json(value >= 0.5) : Json(value);
}

std::string valueText(const ControlInfo& info, const host::ControlTrack& track) {
    if (track.isKeyframed()) {
        return "keyframed (" + std::to_string(track.keys().size()) + " keys)";
    }
    if (info.isCheckbox) {
        return track.valueAt(0) >= 0.5 ? "on" : "off";
    }
    return numberText(track.valueAt(0));
}

} // namespace

std::vector<std::pair<std::string, std::string>> controlLines(const host::ControlTracks& controls) {
    std::vector<std::pair<std::string, std::string>> lines;
    for (const ControlInfo& info : controlCatalog()) {
        lines.emplace_back(info.key, valueText(info, controls[info.control]));
    }
    return lines;
}

std::string controlsText(const host::ControlTracks& controls) {
    std::string text;
    for (const auto& [key, value] : controlLines(controls)) {
        text += (text.empty() ? "" : ", ") + key + " " + value;
    }
    return text;
}

Json controlsJson(const host::ControlTracks& controls) {
    Json document = Json::object();
    for (const ControlInfo& info : controlCatalog()) {
        const host::ControlTrack& track = controls[info.control];
        Json& entry = document[std::string(info.key)];
        if (!track.isKeyframed()) {
            entry = valueJson(info, track.valueAt(0));
            continue;
        }
        for (const host::Keyframe& key : track.keys()) {
            const bool hold = key.interpolation == host::Interpolation::Hold;
            entry.push_back({{"frame", key.frame},
                             {"value", valueJson(info, key.value)},
                             {"interpolation", hold ? "hold" : "linear"}});
        }
    }
    return document;
}

} // namespace tintwell::tool
