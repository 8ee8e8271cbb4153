#pragma once

#include "host/declaration/byte_view.h"

namespace tintwell::declaration {

bool isWindowsProgram(const ByteView& file);

/// The content of the resource that holds the property list. Throws FormatError.
ByteView findResourceInWindowsProgram(const ByteView& file);

} // namespace tintwell::declaration
