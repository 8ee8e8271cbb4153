#pragma once

#include <atomic>

namespace tintwell::tool {

/// From now on the first interrupt, hang-up or termination signal only sets the flag, so that work
/// can be put away; a second one ends the program where that takes longer than some seconds, a
/// third one after a second. A broken pipe and a file that grows beyond what is allowed become
/// failed writes.
void catchStopSignals();

/// Set once a signal has asked the program to stop.
const std::atomic<bool>& stopRequested();

/// What a shell expects of a program that a signal stopped: 130 for an interrupt.
int stopExitCode();

} // namespace tintwell::tool
