#pragma once

#include "host/declaration/byte_view.h"

namespace tintwell::declaration {

/// The property list in the bytes of a module file, ELF (64 bits, little-endian) or Windows (64
/// bits). Nothing in the file is run or trusted. Throws FormatError.
ByteView findPropertyList(const ByteView& file);

} // namespace tintwell::declaration
