#include "tool/terminal/stop_signal.h"

#include <csignal>

namespace tintwell::tool {
namespace {

std::atomic<bool> stopFlag{false};
std::atomic<int> stopSignal{SIGINT};

// A handler may touch nothing but these.
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

extern "C" void noteSignal(int signal) {
    stopSignal = signal;
    stopFlag = true;
}

} // namespace

void catchStopSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};

        sigaction(signal, nullptr, &current);
        if (current.sa_handler == SIG_IGN) {
            continue; // started to outlive its terminal
        }

        struct sigaction action {};

        action.sa_handler = noteSignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
    // Writing fails then, which is told with the file's name.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

const std::atomic<bool>& stopRequested() {
    return stopFlag;
}

int stopExitCode() {
    constexpr int kSignalBase = 128;
    return kSignalBase + stopSignal;
}

} // namespace tintwell::tool
