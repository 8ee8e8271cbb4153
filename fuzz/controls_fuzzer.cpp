// Controls files of any text: refused with a message, or values inside the controls' ranges.

#include "check.h"
#include "tool/terminal/user_error.h"
#include "tool/values/control_catalog.h"
#include "tool/values/controls_file.h"

#include <algorithm>
#include <limits>

using namespace tintwell::tool;
using tintwell::fuzz::check;

namespace {

void checkTrack(tintwell::host::Control control, const tintwell::host::ControlTrack& track) {
    const auto info = std::ranges::find(controlCatalog(), control, &ControlInfo::control);
    check(info != controlCatalog().end(), "what is set is a control");
    constexpr auto kLimits = std::numeric_limits<std::int32_t>();
    for (const std::int32_t frame : {kLimits.min(), -1, 0, 1, 1000, kLimits.max()}) {
        const double value = track.valueAt(frame);
        check(value >= info->minimum && value <= info->maximum, "values are in range");
        check(value <= track.greatestValue(), "no value is above the greatest");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const std::string_view text(reinterpret_cast<const char*>(data), size);
        for (const auto& [control, track] : parseControls(text, "f")) {
            checkTrack(control, track);
        }
    } catch (const UserError& error) {
        check(error.exitCode() == ExitCode::Usage, "a wrong text is wrong usage");
        check(std::string_view(error.what()).starts_with("f, line "), "messages name the line");
    }
    return 0;
}
