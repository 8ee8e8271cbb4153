#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace tintwell::media {

/// Which part of FFmpeg says something: what one says of the input does not explain why the output
/// cannot be written.
enum class FfmpegPart : std::uint8_t { Demuxer, Decoder, Encoder, Muxer };

/// From now on FFmpeg's libraries print nothing; the last error message of each part is kept
/// instead. May be called again, from any thread.
void silenceFfmpeg();

/// The last error message of this part, in one line, or else what helpers without a part have said
/// on this thread since it asked last; an empty text where there is none. Forgets both.
std::string takeFfmpegMessage(FfmpegPart part);

/// Width and height of a picture that FFmpeg has found too large, the last one; forgets them. 0 and
/// 0 where there was none.
std::pair<int, int> takeRefusedSize();

/// What FFmpeg says about a failure: the text of the code, and the library's own message where it
/// has left one. Forgets that message.
std::string explainFailure(int code, FfmpegPart part);

} // namespace tintwell::media
