#pragma once

#include "host/declaration/byte_view.h"

namespace tintwell::declaration {

bool isElf(const ByteView& file);

/// The content of the section that holds the property list. Throws FormatError.
ByteView findSectionInElf(const ByteView& file);

} // namespace tintwell::declaration
