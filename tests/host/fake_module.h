#pragma once

#include "effect/host_interface.h"

#include <cstdint>

// What the tests and the fake module agree on. The fake has three controls; the value of the third
// says what a render does.
namespace tintwell::host::fake {

enum Control : std::int32_t { kOffset = 1, kSwitch = 2, kAction = 3 };

enum class Action {
    CopyNeighbour, ///< output = the frame `offset` frames on, checked out from the host
    Report,        ///< output begins with a Report
    Leak,          ///< keeps a check-out, a handle and a suite
    Misuse,        ///< gives back what it never took
};

struct Report {
    std::int32_t currentTime, timeStep, localTimeStep, totalDuration, quality;
    std::uint32_t timeScale, applicationCode;
    double offsetAtNextFrame;
    std::int32_t switchAtNextFrame;
    std::int32_t keyBefore, keyAfter; ///< times, -1 for none
    std::int32_t changedControls;     ///< bit i: UserChangedParam was sent for control i
    ErrorCode foreignReference;       ///< answer to a reference that is not this instance's
    std::uint8_t stateUnchanged;      ///< since SequenceSetup
};

} // namespace tintwell::host::fake
