#pragma once

#include "media/clip_info.h"
#include "media/color/frame_converter.h"

#include <optional>

namespace tintwell::media {

/// Converts the pictures of a clip to worlds. Every way on which pictures of a clip reach the
/// effect goes through one of these, so that the same picture gives the same world. For one thread
/// at a time.
class ClipToWorld {
public:
    ClipToWorld(const ClipInfo& info, host::SampleDepth depth) : info_(info), depth_(depth) {}

    /// How a picture is understood, which may be of another pixel format than the clip's first.
    PictureFormat formatOf(const AVFrame& picture) const;

    /// The picture is of the clip's size; the world too, and of the depth given.
    void convert(const AVFrame& picture, host::FrameBuffer& world);

private:
    ClipInfo info_;
    host::SampleDepth depth_;
    std::optional<FrameToWorld> converter_;
    PictureFormat converterFormat_;
};

} // namespace tintwell::media
