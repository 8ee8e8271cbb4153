#pragma once

#include "module/frame/interleaved_frame.h"
#include "module/interface/host_interface.h"

namespace tintwell {

inline int depthOf(const EffectWorld& world) {
    return (world.flags & kWorldFlag16Bit) != 0 ? 16 : 8;
}

/// The world's pixels without the host's record. A 16-bit world's rows are a whole number of
/// samples apart: an odd row byte count is cut to the sample.
inline InterleavedFrame viewOf(const EffectWorld& world) {
    const std::int32_t rowBytes = depthOf(world) == 16 ? world.rowBytes / 2 * 2 : world.rowBytes;
    return {static_cast<std::byte*>(world.data), rowBytes, world.width, world.height,
            depthOf(world)};
}

/// 0 for A,R,G,B and 1 for B,G,R,A pixels.
inline std::int32_t channelOrderOf(const InData& inData) {
    return inData.applicationCode == kApplicationWithBgraPixels ? 1 : 0;
}

/// An empty frame needs no pixels.
inline bool lacksPixels(const EffectWorld& world) {
    return world.data == nullptr && world.width > 0 && world.height > 0;
}

} // namespace tintwell
