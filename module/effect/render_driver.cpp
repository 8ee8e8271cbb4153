#include "module/effect/render_driver.h"

#include "module/analysis/automatic_correction.h"
#include "module/apply/blend.h"
#include "module/apply/levels_application.h"
#include "module/services/frame_time.h"
#include "module/services/world_view.h"
#include "module/temporal/frame_cache.h"
#include "module/temporal/neighbour_frames.h"
#include "module/temporal/smoothing_tintwell.h"
#include "module/temporal/split_frame.h"

#include <memory>

namespace tintwell {
namespace {

const EffectWorld& inputOf(const RenderRequest& request) {
    return request.params[static_cast<std::size_t>(Param::InputLayer)]->layer;
}

FrameCacheEntry* cachedEntry(const RenderRequest& request) {
    return frameCacheOf(request.inData)
        ->find(frameAt(request.inData.currentTime, request.inData.timeStep));
}

/// The fingerprint of what the host hands out for the current time; counted when the frame was a
/// neighbour, as a rule.
ErrorCode readCurrentFingerprint(const RenderRequest& request, KeyedFingerprint& fingerprint) {
    const FrameCacheEntry* cached = cachedEntry(request);
    if (cached != nullptr && cached->source.key != AnalysisKey{}) {
        fingerprint = {cached->source.key, *cached->histogram};
    }
    return readFingerprint(request.inData, request.inData.currentTime, request.mode, fingerprint);
}

/// Finds the current frame's own levels, or takes those that were found of the same before. The
/// input need not be what the host hands out for the current time.
FrameAnalysis analyzeCurrent(const RenderRequest& request, const SplitFrame& frame,
                             const KeyedFingerprint& fingerprint) {
    FrameAnalysis analysis;
    analysis.fingerprint = std::make_unique<ChannelHistogram>(fingerprint.histogram);
    const AnalysisKey key(viewOf(inputOf(request)), channelOrderOf(request.inData), request.mode);
    if (key == fingerprint.key) {
        analysis.source = {key, request.controls.analysis};
        const FrameCacheEntry* cached = cachedEntry(request);
        if (cached != nullptr && cached->source == analysis.source) {
            analysis.levels = std::make_unique<LevelsRecord>(*cached->levels);
        }
    }
    analyzeFrame(request.mode, frame.image, spareMemoryOf(request.inData), analysis.levels,
                 analysis.fingerprint);
    return analysis;
}

/// The entry of the current frame, holding what was found of it by itself.
Held<FrameCacheEntry> currentEntry(const RenderRequest& request, FrameAnalysis& analysis) {
    FrameCacheEntry* cached = cachedEntry(request);
    Held<FrameCacheEntry> entry =
        cached != nullptr ? Held<FrameCacheEntry>::lent(cached)
                          : Held<FrameCacheEntry>::owned(std::make_unique<FrameCacheEntry>());
    if (!entry->levels) {
        entry->levels = std::make_unique<LevelsRecord>();
    }
    entry->histogram = std::move(analysis.fingerprint);
    copySmoothedEntries(*analysis.levels, *entry->levels);
    entry->source = analysis.source;
    entry->isStale = false;
    return entry;
}

/// The levels this frame is to be corrected with: its own, smoothed over its neighbours if asked.
ErrorCode findLevels(const RenderRequest& request, const SplitFrame& frame,
                     const KeyedFingerprint& fingerprint, FrameAnalysis& analysis) {
    if (!isSmoothed(request)) {
        analyzeFrame(request.mode, frame.image, spareMemoryOf(request.inData), analysis.levels,
                     analysis.fingerprint);
        return error::kNone;
    }
    analysis = analyzeCurrent(request, frame, fingerprint);
    return smoothLevels(request, analysis);
}

ErrorCode splitInput(const RenderRequest& request, SplitFrame& frame) {
    return splitFrame(request.inData, inputOf(request), request.controls.analysis,
                      spareMemoryOf(request.inData), frame);
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

ErrorCode smoothLevels(const RenderRequest& request, FrameAnalysis& analysis) {
    CTemporalSmoothingTintwell smoothing;
    smoothing.Init(&request.inData, request.params, request.controls.smoothingSeconds,
                   request.controls.sceneDetect, frameCacheOf(request.inData));
    smoothing.setMode(request.mode);
    ErrorCode code = smoothing.UpdateState();
    if (code != error::kNone) {
        return code;
    }
    smoothing.SetResult(currentEntry(request, analysis));
    FrameCacheEntry smoothed;
    smoothed.levels = std::make_unique<LevelsRecord>();
    code = smoothing.Compute(&smoothed);
    if (code == error::kNone) {
        copySmoothedEntries(*smoothed.levels, *analysis.levels);
    }
    return code;
}

ErrorCode correctFrame(const RenderRequest& request, const LevelsRecord& levels) {
    SplitFrame frame;
    const ErrorCode code = splitInput(request, frame);
    return code == error::kNone ? writeOutput(request, frame, levels) : code;
}

ErrorCode renderFrame(const RenderRequest& request) {
    if (frameCacheOf(request.inData) == nullptr) {
        return error::kMissingRecord;
    }
    ErrorCode code = error::kNone;
    KeyedFingerprint fingerprint;
    if (isSmoothed(request)) {
        code = readCurrentFingerprint(request, fingerprint);
    }
    SplitFrame frame;
    if (code == error::kNone) {
        code = splitInput(request, frame);
    }
    FrameAnalysis analysis;
    if (code == error::kNone) {
        code = findLevels(request, frame, fingerprint, analysis);
    }
    return code == error::kNone ? writeOutput(request, frame, *analysis.levels) : code;
}

} // namespace tintwell
