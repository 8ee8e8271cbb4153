#pragma once

#include "host/frame_buffer.h"
#include "media/clip_info.h"
#include "tool/preview/canvas.h"

namespace tintwell::preview {

struct Size {
    int width = 0;
    int height = 0;
};

/// How large players show the clip's pictures, none of whose pixels are lost: pixels made square by
/// stretching, turned as the clip asks for.
Size shownSize(const media::ClipInfo& info);

/// A frame of a clip, as players show it.
class FrameImage {
public:
    /// The frame's pixels are A,R,G,B.
    FrameImage(const host::FrameBuffer& frame, const media::ClipInfo& info);

    /// Fills the box with all of the frame. What is transparent shows a checkerboard.
    void draw(Canvas& canvas, const Box& box) const;

private:
    SurfacePtr surface_;
    int quarterTurns_; ///< counterclockwise, 0..3
};

} // namespace tintwell::preview
