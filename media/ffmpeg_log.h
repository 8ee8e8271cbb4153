#pragma once

#include <string>

namespace tintwell::media {

/// From now on FFmpeg's libraries print nothing; their last error message is kept instead. May be
/// called again, from any thread.
void silenceFfmpeg();

/// The last error message kept, in one line, or an empty text; forgets it. From any thread.
std::string takeFfmpegMessage();

/// What FFmpeg says about a failure: the text of the code, and the library's own message where it
/// has left one. Forgets that message.
std::string explainFailure(int code);

} // namespace tintwell::media
