#include "tool/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace tintwell::tool {

bool standardErrorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

int standardErrorColumns() {
    constexpr int kUsual = 80;
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kUsual;
}

} // namespace tintwell::tool
