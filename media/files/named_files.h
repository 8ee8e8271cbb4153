#pragma once

#include <string>
#include <vector>

namespace tintwell::media {

/// The file that an input's name is, without "file:" before it; empty for standard input and
/// addresses.
std::string localPath(const std::string& input);

/// The files that an input's name tells of before anything is opened: itself, the images of a
/// sequence, the members of a playlist or an edit list. More rather than less.
std::vector<std::string> filesNamedBy(const std::string& input);

} // namespace tintwell::media
