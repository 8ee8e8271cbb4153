#pragma once

namespace tintwell::tool {

/// Whether memory was refused to any part of the process so far. Always false where the C library
/// is not glibc, and under sanitizers.
bool memoryRanOut();

} // namespace tintwell::tool
