#include "module/effect/render_driver.h"

#include "module/analysis/automatic_correction.h"
#include "module/render/frame_correction.h"
#include "module/services/world_view.h"

namespace tintwell {
namespace {

Measuring measuringOf(const RenderRequest& request) {
    return {request.mode, frameCacheOf(request.inData)->secret()};
}

/// The fingerprint of what the host hands out for the current time; counted when the frame was a
/// neighbour, as a rule.
ErrorCode readCurrentFingerprint(const RenderRequest& request, KeyedFingerprint& current) {
    const FrameCacheEntry* cached = currentCacheEntry(request.inData);
    if (cached != nullptr && cached->source.key.isKnown()) {
        current = {cached->source.key, *cached->histogram};
    }
    return readFingerprint(request.inData, request.inData.currentTime, measuringOf(request),
                           current);
}

/// Finds the current frame's own levels from the fingerprint, or takes those that were found of the
/// same before. The input need not be what the host hands out for the current time.
FrameAnalysis analyzeCurrent(const RenderRequest& request, const AnalyzedFrame& frame,
                             const KeyedFingerprint& current) {
    FrameAnalysis analysis;
    analysis.fingerprint = std::make_unique<ChannelHistogram>(current.histogram);
    const AnalysisKey key = keyOf(frame.pixels, measuringOf(request));
    if (isSameFrame(key, current.key)) {
        analysis.source = {key, frame.controls};
        const FrameCacheEntry* cached = currentCacheEntry(request.inData);
        if (cached != nullptr && cached->source == analysis.source) {
            analysis.levels = std::make_unique<LevelsRecord>(*cached->levels);
        }
    }
    analyzeFrame(request.mode, frame, analysis.levels, analysis.fingerprint);
    return analysis;
}

/// The levels this frame is to be corrected with: its own, smoothed over its neighbours if asked.
ErrorCode findLevels(const RenderRequest& request, const EffectWorld& input,
                     const KeyedFingerprint& current, FrameAnalysis& analysis) {
    const AnalyzedFrame frame = {pixelsOf(request.inData, input), request.controls.analysis};
    if (!isSmoothed(request)) {
        analyzeFrame(request.mode, frame, analysis.levels, analysis.fingerprint);
        return error::kNone;
    }
    analysis = analyzeCurrent(request, frame, current);
    return smoothLevels(request, analysis);
}

} // namespace

ErrorCode renderFrame(const RenderRequest& request, EffectWorld* output) {
    if (frameCacheOf(request.inData) == nullptr) {
        return error::kMissingRecord;
    }
    KeyedFingerprint current;
    ErrorCode code = error::kNone;
    if (isSmoothed(request)) {
        code = readCurrentFingerprint(request, current);
    }
    // A copy of the record: what was looked at once is not looked at again after host calls.
    const EffectWorld input = request.params[static_cast<std::size_t>(Param::InputLayer)]->layer;
    if (code == error::kNone) {
        code = checkWorld(input);
    }
    FrameAnalysis analysis;
    if (code == error::kNone) {
        code = findLevels(request, input, current, analysis);
    }
    if (code != error::kNone) {
        return code;
    }
    return correctFrame(input, output,
                        {*analysis.levels, request.controls.blend, channelOrderOf(request.inData)});
}

} // namespace tintwell
