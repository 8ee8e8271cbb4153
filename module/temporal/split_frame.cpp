#include "module/temporal/split_frame.h"

#include "module/services/world_view.h"

#include <limits>

namespace tintwell {

ErrorCode splitFrame(const InData& inData, const EffectWorld& world,
                     const AnalysisControls& controls, SpareMemory* spares, SplitFrame& frame) {
    const std::int32_t depth = depthOf(world);
    const bool isEmpty = world.width <= 0 || world.height <= 0;
    if (!isEmpty && world.width > std::numeric_limits<std::int32_t>::max() / sampleBytes(depth)) {
        return error::kOutOfMemory;
    }
    auto [code, store] = CreateFrameStore(depth, channelOrderOf(inData), 1, spares);
    if (code == error::kNone) {
        code = store->Setup(&world);
    }
    if (code == error::kNone) {
        code = store->SplitPlanes();
    }
    if (code != error::kNone) {
        return code;
    }
    frame.image = {.height = world.height,
                   .width = world.width,
                   .channelCount = kColorPlanes,
                   .rowBytes = isEmpty ? 0 : world.width * sampleBytes(depth),
                   .bitDepth = depth,
                   .data = store->InputBuffer(),
                   .blackClip = controls.blackClip,
                   .whiteClip = controls.whiteClip,
                   .snapNeutralMidtones = controls.snapNeutralMidtones};
    frame.store = std::move(store);
    return error::kNone;
}

} // namespace tintwell
