#pragma once

#include "host/frame_buffer.h"

#include <memory>
#include <string>
#include <vector>

namespace tintwell::bench {

/// What a frame shows. Flat content is the hard case for histograms, noise the one for caches.
enum class Content : int { Natural = 0, Flat = 1, Noise = 2 };

std::string nameOf(Content content);

struct FrameSize {
    const char* name;
    std::int32_t width;
    std::int32_t height;
};

inline constexpr FrameSize kSizes[] = {
    {"720p", 1280, 720}, {"1080p", 1920, 1080}, {"2160p", 3840, 2160}};

/// A few frames, more than the nearest caches hold, to be shown over and over: as of a clip, none
/// is at hand when its turn comes.
using Frames = std::vector<std::shared_ptr<host::FrameBuffer>>;
Frames makeFrames(const FrameSize& size, host::SampleDepth depth, Content content);

/// The same frame for the same arguments, opaque, with a colour cast.
std::shared_ptr<host::FrameBuffer> makeFrame(const FrameSize& size, host::SampleDepth depth,
                                             Content content, unsigned seed = 0);

} // namespace tintwell::bench
