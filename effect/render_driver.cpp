#include "effect/render_driver.h"

#include "analysis/automatic_correction.h"
#include "apply/blend.h"
#include "apply/levels_application.h"
#include "effect/planar_image.h"
#include "effect/sequence_data.h"
#include "effect/world_view.h"
#include "temporal/frame_store.h"

#include <limits>
#include <memory>

namespace tintwell {
namespace {

/// The frame on its way through the render.
struct SplitFrame {
    std::unique_ptr<CFrameStoreBase> store; ///< owns the planes
    PlanarImage image;
};

std::int32_t channelOrderOf(const InData& inData) {
    return inData.applicationCode == kApplicationWithBgraPixels ? 1 : 0;
}

const EffectWorld& inputOf(const RenderRequest& request) {
    return request.params[static_cast<std::size_t>(Param::InputLayer)]->layer;
}

ErrorCode splitInput(const RenderRequest& request, SplitFrame& frame) {
    const EffectWorld& input = inputOf(request);
    const std::int32_t depth = depthOf(input);
    const std::int32_t sampleBytes = depth / 8;
    if (input.width > std::numeric_limits<std::int32_t>::max() / sampleBytes) {
        return error::kOutOfMemory;
    }
    auto [code, store] = CreateFrameStore(depth, channelOrderOf(request.inData), 1);
    if (code == error::kNone) {
        code = store->Setup(&input);
    }
    if (code == error::kNone) {
        code = store->SplitPlanes();
    }
    if (code != error::kNone) {
        return code;
    }
    frame.image = {.height = input.height,
                   .width = input.width,
                   .channelCount = kColorPlanes,
                   .rowBytes = input.width * sampleBytes,
                   .bitDepth = depth,
                   .data = store->InputBuffer(),
                   .blackClip = request.controls.blackClip,
                   .whiteClip = request.controls.whiteClip,
                   .snapNeutralMidtones = request.controls.snapNeutralMidtones};
    frame.store = std::move(store);
    return error::kNone;
}

/// The levels this frame is to be corrected with.
std::unique_ptr<LevelsRecord> findLevels(const RenderRequest& request, const SplitFrame& frame) {
    std::unique_ptr<LevelsRecord> levels;
    std::unique_ptr<ChannelHistogram> histogram;
    analyzeFrame(request.mode, frame.image, levels, histogram);
    return levels;
}

ErrorCode writeOutput(const RenderRequest& request, const SplitFrame& frame,
                      const LevelsRecord& levels) {
    applyLevels(frame.image, levels);
    const ErrorCode merged = frame.store->MergePlanes(request.output);
    if (merged != error::kNone || request.controls.blend == 0) {
        return merged;
    }
    const InterleavedFrame output = viewOf(*request.output);
    const InterleavedFrame original = viewOf(inputOf(request));
    return blendWithOriginal(output, &original, request.controls.blend,
                             channelOrderOf(request.inData), &output);
}

} // namespace

ErrorCode renderFrame(const RenderRequest& request) {
    if (frameCacheOf(request.inData) == nullptr) {
        return error::kMissingRecord;
    }
    SplitFrame frame;
    const ErrorCode split = splitInput(request, frame);
    if (split != error::kNone) {
        return split;
    }
    const std::unique_ptr<LevelsRecord> levels = findLevels(request, frame);
    return writeOutput(request, frame, *levels);
}

} // namespace tintwell
