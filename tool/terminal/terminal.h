#pragma once

namespace tintwell::tool {

bool standardErrorIsTerminal();
bool standardOutputIsTerminal();

/// Whether a terminal may be sent colours: not with NO_COLOR set, and not if it is a dumb one.
bool colorsAreWelcome();

/// Width of the terminal on standard error; 80 where it cannot be known.
int standardErrorColumns();

} // namespace tintwell::tool
