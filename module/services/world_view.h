#pragma once

#include "module/frame/interleaved_frame.h"
#include "module/interface/host_interface.h"

#include <limits>

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

/// 0 for a width or height at or below 0.
inline std::size_t pixelCount(const EffectWorld& world) {
    return viewOf(world).rowPixels() * static_cast<std::size_t>(viewOf(world).rows());
}

/// An empty frame needs no pixels.
inline bool lacksPixels(const EffectWorld& world) {
    return world.data == nullptr && pixelCount(world) > 0;
}

/// 0 for a world that can be worked on, 512 without its pixels, 4 where a row of one of its planes
/// has more bytes than a record can tell.
inline ErrorCode checkWorld(const EffectWorld& world) {
    if (lacksPixels(world)) {
        return error::kMissingRecord;
    }
    const bool isTooWide =
        pixelCount(world) > 0 &&
        world.width > std::numeric_limits<std::int32_t>::max() / sampleBytes(depthOf(world));
    return isTooWide ? error::kOutOfMemory : error::kNone;
}

} // namespace tintwell
