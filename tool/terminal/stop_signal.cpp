#include "tool/terminal/stop_signal.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace tintwell::tool {
namespace {

std::atomic<bool> stopFlag{false};
std::atomic<int> stopSignal{SIGINT};

// A handler may touch nothing but these.
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<std::int64_t>::is_always_lock_free);

std::atomic<int> signalCount{0};
std::atomic<std::int64_t> firstTime{0}; ///< in milliseconds

/// Programs that stop others send their signal several times at once, which is one wish only. Who
/// sends it again later does not want to wait.
constexpr std::int64_t kPatience = 3000;
constexpr std::int64_t kShortPatience = 1000; ///< with the third signal

std::int64_t now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

extern "C" void noteSignal(int signal) {
    const int error = errno;
    const int count = ++signalCount;
    if (count == 1) {
        firstTime = now();
        stopSignal = signal;
        stopFlag = true;
    } else if (now() - firstTime >= (count == 2 ? kPatience : kShortPatience)) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
    errno = error;
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
