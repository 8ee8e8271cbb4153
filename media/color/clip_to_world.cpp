#include "media/color/clip_to_world.h"

namespace tintwell::media {

ClipToWorld::ClipToWorld(const ClipInfo& info, host::SampleDepth depth)
    : info_(info), depth_(depth) {
    if (info.referenceWhite > 0.0) {
        highlights_.emplace(info.referenceWhite);
    }
}

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
    if (highlights_) {
        highlights_->stretch(world);
    }
}

} // namespace tintwell::media
