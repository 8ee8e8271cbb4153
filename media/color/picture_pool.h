#pragma once

#include "media/color/frame_converter.h"
#include "media/ffmpeg_objects.h"

#include <memory>

extern "C" {
#include <libavutil/buffer.h>
}

namespace tintwell::media {

/// Pictures of one format whose memory is used again once every reference to it is gone. Any
/// thread; pictures may outlive the pool.
class PicturePool {
public:
    explicit PicturePool(const PictureFormat& format);

    /// A picture with no properties but its format; the pixels are whatever they were. Throws
    /// std::bad_alloc.
    FramePtr take();

private:
    struct PoolDeleter {
        void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
    };

    PictureFormat format_;
    std::unique_ptr<AVBufferPool, PoolDeleter> pool_;
};

/// Everything that is said about a picture: its time, fields, captions, colour.
void copyProperties(const AVFrame& from, AVFrame& to);

} // namespace tintwell::media
