#pragma once

#include "host/frame_buffer.h"
#include "media/color/frame_converter.h"

#include <zimg.h>

namespace tintwell::media {

/// The picture's samples as zimg is told of them, with all chroma at full resolution. Grey is
/// handed over as three equal planes, or (`greyAsYuv`) taken back from the luma plane of YUV.
zimg_image_format pictureSamples(const PictureFormat& format, bool greyAsYuv);

/// R,G,B planes as the world has them, but with 65535 as white at 16 bits.
zimg_image_format worldSamples(const PictureFormat& format, host::SampleDepth depth);

/// The format in which the rows of such pictures can be accessed. Throws MediaError where there is
/// none.
PictureFormat directVersion(const PictureFormat& format);

/// Takes pictures from one pixel format to another that holds the same samples.
class Repacker {
public:
    /// Throws MediaError where it cannot be done.
    Repacker(const PictureFormat& from, const PictureFormat& to);

    void repack(const AVFrame& from, AVFrame& to);

private:
    ScalerPtr scaler_;
};

/// A picture with memory of its own.
FramePtr makePicture(const PictureFormat& format);

} // namespace tintwell::media
