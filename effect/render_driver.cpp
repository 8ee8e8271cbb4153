#include "effect/render_driver.h"

#include "analysis/automatic_correction.h"
#include "apply/blend.h"
#include "apply/levels_application.h"
#include "effect/frame_time.h"
#include "effect/sequence_data.h"
#include "effect/world_view.h"
#include "temporal/neighbour_frames.h"
#include "temporal/smoothing_tintwell.h"
#include "temporal/split_frame.h"

#include <memory>

namespace tintwell {
namespace {

const EffectWorld& inputOf(const RenderRequest& request) {
    return request.params[static_cast<std::size_t>(Param::InputLayer)]->layer;
}

/// The entry of the current frame, holding what was found of it by itself.
Held<FrameCacheEntry> currentEntry(const RenderRequest& request, FrameCache& cache,
                                   std::unique_ptr<ChannelHistogram> histogram,
                                   const LevelsRecord& levels) {
    FrameCacheEntry* cached =
        cache.find(frameAt(request.inData.currentTime, request.inData.timeStep));
    Held<FrameCacheEntry> entry =
        cached != nullptr ? Held<FrameCacheEntry>::lent(cached)
                          : Held<FrameCacheEntry>::owned(std::make_unique<FrameCacheEntry>());
    if (!entry->levels) {
        entry->levels = std::make_unique<LevelsRecord>();
    }
    entry->histogram = std::move(histogram);
    copySmoothedEntries(levels, *entry->levels);
    entry->isStale = false;
    return entry;
}

/// The levels this frame is to be corrected with: its own, smoothed over its neighbours if asked.
ErrorCode findLevels(const RenderRequest& request, const SplitFrame& frame,
                     std::unique_ptr<ChannelHistogram> fingerprint,
                     std::unique_ptr<LevelsRecord>& levels) {
    analyzeFrame(request.mode, frame.image, levels, fingerprint);
    return isSmoothed(request) ? smoothLevels(request, std::move(fingerprint), *levels)
                               : error::kNone;
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

bool isSmoothed(const RenderRequest& request) {
    return request.controls.smoothingSeconds != 0.0 && request.inData.quality == kQualityHigh;
}

ErrorCode smoothLevels(const RenderRequest& request, std::unique_ptr<ChannelHistogram> histogram,
                       LevelsRecord& levels) {
    FrameCache& cache = *frameCacheOf(request.inData);
    CTemporalSmoothingTintwell smoothing;
    smoothing.Init(&request.inData, request.params, request.controls.smoothingSeconds,
                   request.controls.sceneDetect, &cache);
    smoothing.setMode(request.mode);
    ErrorCode code = smoothing.UpdateState();
    if (code != error::kNone) {
        return code;
    }
    smoothing.SetResult(currentEntry(request, cache, std::move(histogram), levels));
    FrameCacheEntry smoothed;
    smoothed.levels = std::make_unique<LevelsRecord>();
    code = smoothing.Compute(&smoothed);
    if (code == error::kNone) {
        copySmoothedEntries(*smoothed.levels, levels);
    }
    return code;
}

ErrorCode correctFrame(const RenderRequest& request, const LevelsRecord& levels) {
    SplitFrame frame;
    const ErrorCode code =
        splitFrame(request.inData, inputOf(request), request.controls.analysis, frame);
    return code == error::kNone ? writeOutput(request, frame, levels) : code;
}

ErrorCode renderFrame(const RenderRequest& request) {
    const InData& inData = request.inData;
    if (frameCacheOf(inData) == nullptr) {
        return error::kMissingRecord;
    }
    ErrorCode code = error::kNone;
    std::unique_ptr<ChannelHistogram> fingerprint;
    if (isSmoothed(request)) {
        fingerprint = std::make_unique<ChannelHistogram>();
        code = readFingerprint(inData, inData.currentTime, request.mode, *fingerprint);
    }
    SplitFrame frame;
    if (code == error::kNone) {
        code = splitFrame(inData, inputOf(request), request.controls.analysis, frame);
    }
    std::unique_ptr<LevelsRecord> levels;
    if (code == error::kNone) {
        code = findLevels(request, frame, std::move(fingerprint), levels);
    }
    return code == error::kNone ? writeOutput(request, frame, *levels) : code;
}

} // namespace tintwell
