#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tintwell::media {

/// What is to become of the streams of a kind.
enum class StreamWish : std::uint8_t {
    Automatic, ///< kept where they play from the output, otherwise converted
    Copy,      ///< kept, wherever that can be written
    Convert,
    None, ///< left out
};

/// What is to become of a clip's streams beside the video that is corrected.
struct StreamWishes {
    StreamWish audio = StreamWish::Automatic;
    StreamWish subtitles = StreamWish::Automatic;
    std::string audioCodec;                  ///< to convert to; empty: what suits the container
    std::optional<std::vector<int>> streams; ///< only these, by their numbers; empty: all
};

} // namespace tintwell::media
