#pragma once

namespace tintwell::tool {

bool standardErrorIsTerminal();

/// Width of the terminal on standard error; 80 where it cannot be known.
int standardErrorColumns();

} // namespace tintwell::tool
