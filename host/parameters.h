#pragma once

#include "host/control_track.h"
#include "module/interface/host_interface.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::host {

/// A control as the module declared it. The slider fields are 0 for a checkbox.
struct ControlDeclaration {
    std::int32_t index = 0; ///< parameter index, from 1
    std::uint32_t id = 0;
    ControlType type = ControlType::Checkbox;
    std::string name;
    std::string label; ///< text beside a checkbox
    std::uint32_t flags = 0;
    double initialValue = 0.0;
    double defaultValue = 0.0;
    float validMinimum = 0.0F;
    float validMaximum = 0.0F;
    float sliderMinimum = 0.0F;
    float sliderMaximum = 0.0F;
    std::int32_t precision = 0; ///< decimal places shown
    bool percent = false;

    /// The module wants to hear of each change.
    bool supervised() const { return (flags & control_flags::kSupervise) != 0; }
};

/// The parameters of one effect instance: the declarations, the values over time, and what the
/// module last asked the control panel to look like.
class Parameters {
public:
    /// Declares the next control. False when it is neither a slider nor a checkbox.
    bool declare(const ParamDef& record);

    const std::vector<ControlDeclaration>& declarations() const { return declarations_; }

    /// Index of a declared control, 1 or above.
    bool isControl(std::int32_t index) const {
        return index >= 1 && static_cast<std::size_t>(index) <= declarations_.size();
    }

    /// The values the controls have before anybody touches them.
    ControlTracks initialTracks() const;

    const ControlTracks& tracks() const { return tracks_; }

    void setTracks(const ControlTracks& tracks) { tracks_ = tracks; }

    /// The record of a declared control with its value at a frame. A checkbox is on from 0.5
    /// upward; a control beyond those that ControlTracks knows keeps its initial value. The record
    /// points at texts of this object.
    ParamDef recordAt(std::int32_t index, std::int32_t frame) const;

    /// Takes over how the module wants a declared control shown.
    void updateUi(std::int32_t index, const ParamDef& record);

    /// Whether a declared control is shown greyed out.
    bool isDisabled(std::int32_t index) const;

private:
    static std::size_t slot(std::int32_t index) { return static_cast<std::size_t>(index) - 1; }

    std::vector<ControlDeclaration> declarations_;
    std::vector<ParamDef> records_; ///< as declared, one per declaration
    ControlTracks tracks_;
};

/// The record of the input layer.
ParamDef layerRecord(const EffectWorld& world);

} // namespace tintwell::host
