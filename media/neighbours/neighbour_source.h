#pragma once

#include "host/frame_source.h"

#include <cstdint>
#include <optional>

namespace tintwell::media {

/// The frames of a clip for an effect that looks at other frames than the one it renders. Each is,
/// byte for byte, what decoding the clip from its start gives at that place. How many there are
/// need not be known beforehand: asking for one too many throws MediaError.
class NeighbourSource : public host::FrameSource {
public:
    /// Known at the latest when a frame was asked for that does not exist. On the effect's thread.
    virtual std::optional<std::int32_t> frameCount() const = 0;

    /// Makes the request that is being served, and any later one, fail soon. Any thread.
    virtual void cancel() = 0;
};

} // namespace tintwell::media
