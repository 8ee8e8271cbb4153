#include "media/color/picture_pool.h"

#include "media/media_error.h"

#include <new>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace tintwell::media {
namespace {

constexpr int kRowAlignment = 64;

} // namespace

PicturePool::PicturePool(const PictureFormat& format) : format_(format) {
    const int bytes =
        av_image_get_buffer_size(format.pixelFormat, format.width, format.height, kRowAlignment);
    if (bytes < 0) {
        throw MediaError("pictures in pixel format " + nameOf(format.pixelFormat) +
                         " of this size cannot be kept in memory");
    }
    // Encoders may read a little beyond the last row.
    pool_.reset(av_buffer_pool_init(static_cast<std::size_t>(bytes) + kRowAlignment, nullptr));
    if (!pool_) {
        throw std::bad_alloc();
    }
}

FramePtr PicturePool::take() {
    FramePtr picture = makeFrame();
    picture->buf[0] = av_buffer_pool_get(pool_.get());
    if (picture->buf[0] == nullptr) {
        throw std::bad_alloc();
    }
    picture->format = format_.pixelFormat;
    picture->width = format_.width;
    picture->height = format_.height;
    av_image_fill_arrays(picture->data, picture->linesize, picture->buf[0]->data,
                         format_.pixelFormat, format_.width, format_.height, kRowAlignment);
    return picture;
}

void copyProperties(const AVFrame& from, AVFrame& to) {
    if (av_frame_copy_props(&to, &from) < 0) {
        throw std::bad_alloc();
    }
}

} // namespace tintwell::media
