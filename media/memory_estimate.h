#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace tintwell::media {

/// A picture as codecs keep it, with its border.
std::int64_t pictureBytes(AVPixelFormat format, int width, int height);

/// What rendering pictures of this size may take where nobody says otherwise: 600 MiB up to 1080p,
/// 1.5 GiB for 2160p, and in proportion beyond.
std::int64_t usualMemory(int width, int height);

/// Which part of a rendering's memory a decoder may take.
constexpr std::int64_t decoderShare(std::int64_t memory) {
    return memory / 6;
}

/// How many threads are worth starting.
int processorCount();

} // namespace tintwell::media
