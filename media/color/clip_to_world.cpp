#include "media/color/clip_to_world.h"

namespace tintwell::media {

PictureFormat ClipToWorld::formatOf(const AVFrame& picture) const {
    const auto pixelFormat = static_cast<AVPixelFormat>(picture.format);
    return {info_.width, info_.height, pixelFormat,
            pixelFormat == info_.pixelFormat
                ? info_.color
                : resolveColor(pixelFormat, info_.width, info_.height, info_.tags)};
}

void ClipToWorld::convert(const AVFrame& picture, host::FrameBuffer& world) {
    const PictureFormat format = formatOf(picture);
    if (!converter_ || format != converterFormat_) {
        converter_.emplace(format, depth_);
        converterFormat_ = format;
    }
    converter_->convert(picture, world);
}

} // namespace tintwell::media
