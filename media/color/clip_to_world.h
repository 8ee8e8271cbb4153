#pragma once

#include "media/clip_info.h"
#include "media/color/frame_converter.h"
#include "media/color/highlights.h"

#include <optional>

namespace tintwell::media {

/// Converts the pictures of a clip to worlds. Every way on which pictures of a clip reach the
/// effect goes through one of these, so that the same picture gives the same world. For one thread
/// at a time.
class ClipToWorld {
public:
    ClipToWorld(const ClipInfo& info, host::SampleDepth depth);

    /// How a picture is understood, which may be of another pixel format than the clip's first.
    PictureFormat formatOf(const AVFrame& picture) const;

    /// The picture is of the clip's size; the world too, and of the depth given. Where the clip has
    /// a reference white (ClipInfo), the world is stretched to what lies below it.
    void convert(const AVFrame& picture, host::FrameBuffer& world);

private:
    ClipInfo info_;
    host::SampleDepth depth_;
    std::optional<Highlights> highlights_;
    std::optional<FrameToWorld> converter_;
    PictureFormat converterFormat_;
};

} // namespace tintwell::media
