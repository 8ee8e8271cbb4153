#pragma once

#include "module/interface/host_interface.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace tintwell::host {

/// Everything a module can ask of the host during a command.
enum class Service : std::uint8_t {
    CheckOutParameter,
    CheckInParameter,
    AddParameter,
    Abort,
    RegisterStringTable,
    LookUpString,
    ReleaseStringTable,
    FormatText,
    CopyString,
    AcquireSuite,
    ReleaseSuite,
    NewHandle,
    DisposeHandle,
    UpdateParameterUi,
    CurrentState,
    CompareStates,
    FindKeyframe,
};
inline constexpr std::size_t kServiceCount = 17;

/// Consulted at the start of each service, on the command's thread, to make the host fail on
/// purpose. A code other than 0 becomes the service's answer: services that give a pointer answer
/// null, and FormatText answers -1. The services that give something back (check-in, suite release,
/// string table release, handle disposal) and CopyString do their work all the same, so that what
/// the ledger then shows as held is the module's doing.
using ServiceHook = std::function<ErrorCode(Service)>;

} // namespace tintwell::host
