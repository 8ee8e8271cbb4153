#include "module/effect/render_driver.h"

#include "module/analysis/automatic_correction.h"
#include "module/render/frame_correction.h"
#include "module/services/parameter_checkout.h"
#include "module/services/world_view.h"

namespace tintwell {
namespace {

const EffectWorld& inputOf(const SmoothingRequest& request) {
    return request.params[static_cast<std::size_t>(Param::InputLayer)]->layer;
}

Measuring measuringOf(const SmoothingRequest& request) {
    return {request.mode, frameCacheOf(request.inData)->secret()};
}

/// The fingerprint of what the host hands out for the current time; counted when the frame was a
/// neighbour, as a rule.
ErrorCode readCurrentFingerprint(const SmoothingRequest& request, KeyedFingerprint& current) {
    const FrameCacheEntry* cached = currentCacheEntry(request.inData);
    const bool expected = cached != nullptr && cached->source.key.isKnown();
    if (expected) {
        current = {cached->source.key, *cached->histogram};
    }
    return readParameter(request.inData, static_cast<std::int32_t>(Param::InputLayer),
                         request.inData.currentTime, [&](const ParamDef& param) {
                             if (lacksPixels(param.layer)) {
                                 return error::kMissingRecord;
                             }
                             measureFingerprint(pixelsOf(request.inData, param.layer),
                                                measuringOf(request), expected, current);
                             return error::kNone;
                         });
}

/// Finds the current frame's own levels from the fingerprint, or takes those that were found of the
/// same before. The input need not be what the host hands out for the current time.
FrameAnalysis analyzeCurrent(const SmoothingRequest& request, const AnalyzedFrame& frame,
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
ErrorCode findLevels(const SmoothingRequest& request, const KeyedFingerprint& current,
                     FrameAnalysis& analysis) {
    const AnalyzedFrame frame = {pixelsOf(request.inData, inputOf(request)),
                                 request.controls.analysis};
    if (!isSmoothed(request)) {
        analyzeFrame(request.mode, frame, analysis.levels, analysis.fingerprint);
        return error::kNone;
    }
    analysis = analyzeCurrent(request, frame, current);
    return smoothLevels(request, analysis);
}

} // namespace

ErrorCode renderFrame(const SmoothingRequest& request, EffectWorld* output) {
    if (frameCacheOf(request.inData) == nullptr) {
        return error::kMissingRecord;
    }
    KeyedFingerprint current;
    ErrorCode code = error::kNone;
    if (isSmoothed(request)) {
        code = readCurrentFingerprint(request, current);
    }
    if (code == error::kNone) {
        code = checkWorld(inputOf(request));
    }
    FrameAnalysis analysis;
    if (code == error::kNone) {
        code = findLevels(request, current, analysis);
    }
    if (code != error::kNone) {
        return code;
    }
    return correctFrame(inputOf(request), output,
                        {*analysis.levels, request.controls.blend, channelOrderOf(request.inData)});
}

} // namespace tintwell
