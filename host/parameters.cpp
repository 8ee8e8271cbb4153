#include "host/parameters.h"

#include <algorithm>
#include <cstring>

namespace tintwell::host {

namespace {

ParamDef zeroedRecord() {
    ParamDef record;
    std::memset(&record, 0, sizeof record); // the union's unused bytes too
    return record;
}

/// The module need not have ended a name that fills its field.
std::string nameOf(const ParamDef& record) {
    const char* end = std::find(std::begin(record.name), std::end(record.name), '\0');
    return {record.name, end};
}

void describeSlider(const FloatSliderParam& slider, ControlDeclaration& declaration) {
    declaration.initialValue = slider.value;
    declaration.defaultValue = static_cast<double>(slider.defaultValue);
    declaration.validMinimum = slider.validMinimum;
    declaration.validMaximum = slider.validMaximum;
    declaration.sliderMinimum = slider.sliderMinimum;
    declaration.sliderMaximum = slider.sliderMaximum;
    declaration.precision = slider.precision;
    declaration.percent = (slider.displayFlags & kDisplayAsPercent) != 0;
}

void describeCheckbox(const CheckboxParam& checkbox, ControlDeclaration& declaration) {
    declaration.initialValue = checkbox.value;
    declaration.defaultValue = checkbox.defaultValue;
    declaration.label = checkbox.label == nullptr ? "" : checkbox.label;
}

} // namespace

bool Parameters::declare(const ParamDef& record) {
    ControlDeclaration declaration;
    declaration.index = static_cast<std::int32_t>(declarations_.size()) + 1;
    declaration.id = record.id;
    declaration.type = record.type;
    declaration.name = nameOf(record);
    declaration.flags = record.flags;
    if (record.type == ControlType::FloatSlider) {
        describeSlider(record.slider, declaration);
    } else if (record.type == ControlType::Checkbox) {
        describeCheckbox(record.checkbox, declaration);
    } else {
        return false;
    }
    records_.push_back(record);
    declarations_.push_back(std::move(declaration));
    return true;
}

ControlTracks Parameters::initialTracks() const {
    ControlTracks tracks;
    for (const ControlDeclaration& declaration : declarations_) {
        if (static_cast<std::size_t>(declaration.index) <= kControlCount) {
            tracks[static_cast<Control>(declaration.index)] =
                ControlTrack(declaration.initialValue);
        }
    }
    return tracks;
}

ParamDef Parameters::recordAt(std::int32_t index, std::int32_t frame) const {
    const ControlDeclaration& declaration = declarations_[slot(index)];
    const bool tracked = static_cast<std::size_t>(index) <= kControlCount;
    const double value =
        tracked ? tracks_[static_cast<Control>(index)].valueAt(frame) : declaration.initialValue;
    ParamDef record = records_[slot(index)];
    if (record.type == ControlType::FloatSlider) {
        record.slider.value = value;
    } else {
        record.checkbox.value = value >= 0.5 ? 1 : 0;
        record.checkbox.label = declaration.label.c_str();
    }
    return record;
}

void Parameters::updateUi(std::int32_t index, const ParamDef& record) {
    records_[slot(index)].uiFlags = record.uiFlags;
}

bool Parameters::isDisabled(std::int32_t index) const {
    return (records_[slot(index)].uiFlags & kUiFlagDisabled) != 0;
}

ParamDef layerRecord(const EffectWorld& world) {
    ParamDef record = zeroedRecord();
    record.type = ControlType::Layer;
    record.layer = world;
    return record;
}

} // namespace tintwell::host
