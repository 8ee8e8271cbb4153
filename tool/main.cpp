#include "tool/commands/command_line.h"
#include "tool/terminal/descriptor_buffer.h"
#include "tool/terminal/stop_signal.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// A standard stream that the caller closed would give its number to the next file opened, and
/// what is reported would go into the output. The other way round than usual, so that using it
/// still fails.
void fillClosedStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) {
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    fillClosedStandardStreams();
    // This encoder's messages do not go through FFmpeg's log.
    ::setenv("SVT_LOG", "1", 0); // NOLINT(concurrency-mt-unsafe): there are no threads yet
    tintwell::tool::catchStopSignals();
    const tintwell::tool::StandardStreams streams;
    return tintwell::tool::runProgram(argc, argv);
}
