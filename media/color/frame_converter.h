#pragma once

#include "host/frame_buffer.h"
#include "media/color_encoding.h"
#include "media/ffmpeg_objects.h"

#include <cstdint>
#include <memory>

namespace tintwell::media {

/// A picture's size and how its samples are to be understood.
struct PictureFormat {
    int width = 0;
    int height = 0;
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;
    ColorEncoding color;

    bool operator==(const PictureFormat&) const = default;
};

// Between FFmpeg's pictures and the host's interleaved A,R,G,B. Samples of chroma that several
// pixels share are given to each of them, and averaged over them on the way back: the average of
// what was replicated is what was there, so an untouched picture does not lose colour detail, and
// chroma does not move. Rows of an interlaced picture share chroma within their own field. Grey
// becomes R = G = B and comes back as luma; pictures without alpha are opaque.
//
// Y,U,V can hold colours that R,G,B cannot: above white, below black, more saturated than any
// mixture of the primaries. On the way back a sample is therefore taken from the original picture
// where all pixels that it belongs to are as they were.
// Each converter is for one thread at a time; both throw MediaError and std::bad_alloc.

/// From FFmpeg's picture to the host's.
class FrameToWorld {
public:
    FrameToWorld(const PictureFormat& from, host::SampleDepth depth);
    ~FrameToWorld();

    /// The picture is of the format and size given; the world of the size and depth given.
    void convert(const AVFrame& picture, host::FrameBuffer& world);

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

/// What a world was made of, and the world as it was made.
struct Original {
    const AVFrame& picture;
    const host::FrameBuffer& world;
};

/// What becomes of worlds of 16 bits in pictures of fewer.
enum class Rounding : std::uint8_t {
    Nearest,  ///< the nearest level: what was of so few bits comes back as it was
    Dithered, ///< a pattern of the two nearest, for what had more bits: gradients show no bands
};

/// From the host's picture to FFmpeg's.
class WorldToFrame {
public:
    WorldToFrame(host::SampleDepth depth, const PictureFormat& to,
                 Rounding rounding = Rounding::Nearest);
    ~WorldToFrame();

    /// The picture has the format and size given and buffers of its own; its flag for interlacing
    /// is heeded. Its other properties are left alone. The original, where there is one, has the
    /// same picture format and the same kind of world.
    void convert(const host::FrameBuffer& world, AVFrame& picture,
                 const Original* original = nullptr);

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

} // namespace tintwell::media
