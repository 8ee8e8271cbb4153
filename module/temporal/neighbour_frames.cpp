#include "module/temporal/neighbour_frames.h"

#include "module/analysis/automatic_correction.h"
#include "module/analysis/frame_measures.h"
#include "module/services/frame_time.h"
#include "module/services/parameter_checkout.h"
#include "module/services/world_view.h"

namespace tintwell {
namespace {

constexpr auto kInputLayer = static_cast<std::int32_t>(Param::InputLayer);

/// Levels, fingerprint and source of a frame of which nothing is known yet but what `known` may be.
/// The frame is read once, unless `known` proves to be another's.
void analyzeNewFrame(const AnalyzedFrame& frame, const Measuring& measuring,
                     const KeyedFingerprint* known, FrameAnalysis& analysis) {
    const bool expected = known != nullptr && known->key.isKnown();
    analysis.fingerprint = std::make_unique<ChannelHistogram>();
    ChannelHistogram* const histogram = analysis.fingerprint.get();
    ToneSearchContext context(frame);
    KeyHash hash(measuring.secret, frame.pixels, measuring.mode);
    measureFrame(frame.pixels, measuring.mode,
                 {.histogram = expected ? nullptr : histogram,
                  .tones = searchesTones(measuring.mode) ? &context : nullptr,
                  .key = &hash});
    analysis.source = {hash.key(), frame.controls};
    if (expected && isSameFrame(known->key, analysis.source.key)) {
        *histogram = known->histogram;
    } else if (expected) {
        measureFrame(frame.pixels, measuring.mode, {.histogram = histogram});
    }
    analysis.levels = std::make_unique<LevelsRecord>();
    computeAutoLevels(measuring.mode, *analysis.levels, *histogram, 0, context);
}

} // namespace

std::int32_t timeOfFrame(const InData& inData, std::int32_t frame) {
    const std::int64_t step = inData.timeStep == 0 ? 1 : inData.timeStep;
    return saturate(frame * step);
}

PixelView pixelsOf(const InData& inData, const EffectWorld& world) {
    return viewOfPixels(viewOf(world), channelOrderOf(inData));
}

AnalysisKey keyOf(const PixelView& pixels, const Measuring& measuring) {
    KeyHash hash(measuring.secret, pixels, measuring.mode);
    measureFrame(pixels, measuring.mode, {.key = &hash});
    return hash.key();
}

ErrorCode readFingerprint(const InData& inData, std::int32_t time, const Measuring& measuring,
                          KeyedFingerprint& fingerprint) {
    return readParameter(inData, kInputLayer, time, [&](const ParamDef& param) {
        if (lacksPixels(param.layer)) {
            return error::kMissingRecord;
        }
        const PixelView pixels = pixelsOf(inData, param.layer);
        if (fingerprint.key.isKnown() && isSameFrame(fingerprint.key, keyOf(pixels, measuring))) {
            return error::kNone;
        }
        fingerprint.key = {}; // until the counting, which may throw, is done
        KeyHash hash(measuring.secret, pixels, measuring.mode);
        measureFrame(pixels, measuring.mode, {.histogram = &fingerprint.histogram, .key = &hash});
        fingerprint.key = hash.key();
        return error::kNone;
    });
}

ErrorCode analyzeInput(const InData& inData, std::int32_t time, const Measuring& measuring,
                       const KeyedFingerprint* known, FrameAnalysis& analysis) {
    AnalysisControls controls;
    const ErrorCode read = checkOutAnalysisControls(inData, time, controls);
    if (read != error::kNone) {
        return read;
    }
    return readParameter(inData, kInputLayer, time, [&](const ParamDef& param) {
        const ErrorCode code = checkWorld(param.layer);
        if (code != error::kNone) {
            return code;
        }
        const AnalyzedFrame frame = {pixelsOf(inData, param.layer), controls};
        if (analysis.fingerprint) {
            analyzeFrame(measuring.mode, frame, analysis.levels, analysis.fingerprint);
        } else {
            analyzeNewFrame(frame, measuring, known, analysis);
        }
        return error::kNone;
    });
}

} // namespace tintwell
