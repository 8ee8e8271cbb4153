#pragma once

#include <string>
#include <utility>

namespace tintwell::media {

/// From now on FFmpeg's libraries print nothing; their last error message is kept instead. May be
/// called again, from any thread.
void silenceFfmpeg();

/// The last error message kept, in one line, or an empty text; forgets it. From any thread.
std::string takeFfmpegMessage();

/// Width and height of a picture that FFmpeg has found too large, the last one; forgets them. 0 and
/// 0 where there was none.
std::pair<int, int> takeRefusedSize();

/// What FFmpeg says about a failure: the text of the code, and the library's own message where it
/// has left one. Forgets that message.
std::string explainFailure(int code);

} // namespace tintwell::media
