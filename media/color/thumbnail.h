#pragma once

#include "host/frame_buffer.h"
#include "media/clip_info.h"
#include "media/color/frame_converter.h"
#include "media/ffmpeg_objects.h"

#include <cstdint>
#include <vector>

namespace tintwell::media {

/// The bytes of a JPEG file.
using Jpeg = std::vector<std::uint8_t>;

/// Makes small pictures of a clip's frames, with square pixels and turned as players show them.
/// For one thread at a time; throws MediaError.
class ThumbnailMaker {
public:
    /// The longer side of a small picture is `side` pixels, or less where the clip has less.
    ThumbnailMaker(const ClipInfo& info, host::SampleDepth depth, int side);

    /// At 8 bits, without the alpha. The world is of the clip's size and of the depth given.
    host::FrameBuffer shrink(const host::FrameBuffer& world);

private:
    PictureFormat full_;
    PictureFormat small_; ///< not yet turned
    int quarterTurns_;    ///< counterclockwise, 0 to 3
    WorldToFrame toPicture_;
    FrameToWorld toWorld_;
    ScalerPtr scaler_;
    FramePtr fullPicture_;
    FramePtr smallPicture_;
};

/// An 8-bit picture, without its alpha, as a JPEG file.
Jpeg encodeJpeg(const host::FrameBuffer& world);

} // namespace tintwell::media
