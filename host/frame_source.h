#pragma once

#include "host/frame_buffer.h"

#include <cstdint>
#include <memory>

namespace tintwell::host {

/// Where the host takes frames from when the effect asks for one other than the frame it renders:
/// for temporal smoothing these are the neighbours, in either direction.
class FrameSource {
public:
    virtual ~FrameSource() = default;

    /// The clip's frame `index`, from 0 to the clip's frame count - 1, in the size, depth and
    /// channel order of the frames that are rendered. The host keeps it until the effect gives it
    /// back. Called on the thread of the effect's command. An exception or a null answer fails the
    /// check-out; the exception's text becomes part of the command's error.
    virtual std::shared_ptr<const FrameBuffer> frame(std::int32_t index) = 0;
};

} // namespace tintwell::host
