#include "tool/terminal/terminal.h"

#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tintwell::tool {

bool standardErrorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

bool standardOutputIsTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

bool colorsAreWelcome() {
    const char* const refused = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return (refused == nullptr || *refused == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

int standardErrorColumns() {
    constexpr int kUsual = 80;
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kUsual;
}

} // namespace tintwell::tool
