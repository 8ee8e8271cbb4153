#pragma once

#include <string>
#include <vector>

namespace tintwell::media {

/// The names of all that is in a folder, in no order; none where it cannot be opened. Throws
/// MediaError where it cannot be read to its end, so that nothing is taken for missing.
std::vector<std::string> namesIn(const std::string& folder);

} // namespace tintwell::media
