#include "module/temporal/smoothed_levels.h"

#include "module/services/frame_time.h"
#include "module/temporal/smoothing_tintwell.h"

#include <memory>

namespace tintwell {
namespace {

/// A stale entry holds levels of other controls. What replaces them is the frame's own only where
/// the current time is the frame's; else it has to be analysed when it is next a neighbour.
bool isTimeOfFrame(const InData& inData) {
    const std::int32_t frame = frameAt(inData.currentTime, inData.timeStep);
    return timeOfFrame(inData, frame) == inData.currentTime;
}

/// The entry of the current frame, holding what was found of it by itself.
Held<FrameCacheEntry> currentEntry(const InData& inData, FrameAnalysis& analysis) {
    FrameCacheEntry* cached = currentCacheEntry(inData);
    Held<FrameCacheEntry> entry =
        cached != nullptr ? Held<FrameCacheEntry>::lent(cached)
                          : Held<FrameCacheEntry>::owned(std::make_unique<FrameCacheEntry>());
    if (!entry->levels) {
        entry->levels = std::make_unique<LevelsRecord>();
    }
    entry->histogram = std::move(analysis.fingerprint);
    copySmoothedEntries(*analysis.levels, *entry->levels);
    entry->source = analysis.source;
    if (isTimeOfFrame(inData)) {
        entry->isStale = false;
    }
    return entry;
}

} // namespace

bool isSmoothed(const RenderRequest& request) {
    return request.controls.smoothingSeconds != 0.0 && request.inData.quality == kQualityHigh;
}

FrameCacheEntry* currentCacheEntry(const InData& inData) {
    return frameCacheOf(inData)->find(frameAt(inData.currentTime, inData.timeStep));
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
    smoothing.SetResult(currentEntry(request.inData, analysis));
    FrameCacheEntry smoothed;
    smoothed.levels = std::make_unique<LevelsRecord>();
    code = smoothing.Compute(&smoothed);
    if (code == error::kNone) {
        copySmoothedEntries(*smoothed.levels, *analysis.levels);
    }
    return code;
}

} // namespace tintwell
