#include "module/temporal/neighbour_frames.h"

#include "module/analysis/automatic_correction.h"
#include "module/frame/pixel_view.h"
#include "module/services/frame_time.h"
#include "module/services/parameter_checkout.h"
#include "module/services/world_view.h"
#include "module/temporal/split_frame.h"

namespace tintwell {
namespace {

constexpr auto kInputLayer = static_cast<std::int32_t>(Param::InputLayer);

} // namespace

std::int32_t timeOfFrame(const InData& inData, std::int32_t frame) {
    const std::int64_t step = inData.timeStep == 0 ? 1 : inData.timeStep;
    return saturate(frame * step);
}

ErrorCode readFingerprint(const InData& inData, std::int32_t time, AutoCorrectionMode mode,
                          KeyedFingerprint& fingerprint) {
    return readParameter(inData, kInputLayer, time, [&](const ParamDef& param) {
        if (lacksPixels(param.layer)) {
            return error::kMissingRecord;
        }
        const InterleavedFrame frame = viewOf(param.layer);
        const AnalysisKey key(frame, channelOrderOf(inData), mode);
        if (fingerprint.key != key) {
            fingerprint.key = {}; // until the counting, which may throw, is done
            gatherHistogram(fingerprint.histogram, viewOfPixels(frame, channelOrderOf(inData)),
                            combinesColors(mode), mode);
            fingerprint.key = key;
        }
        return error::kNone;
    });
}

ErrorCode analyzeWorld(const InData& inData, const EffectWorld& world,
                       const AnalysisControls& controls, AutoCorrectionMode mode,
                       const KeyedFingerprint& known, FrameAnalysis& analysis) {
    SpareMemory* const spares = spareMemoryOf(inData);
    SplitFrame frame;
    const ErrorCode split = splitFrame(inData, world, controls, spares, frame);
    if (split != error::kNone) {
        return split;
    }
    if (!analysis.fingerprint) {
        const AnalysisKey key(viewOf(world), channelOrderOf(inData), mode);
        analysis.source = {key, controls};
        if (key == known.key) {
            analysis.fingerprint = std::make_unique<ChannelHistogram>(known.histogram);
        }
    }
    analyzeFrame(mode, frame.image, spares, analysis.levels, analysis.fingerprint);
    return error::kNone;
}

ErrorCode analyzeInput(const InData& inData, std::int32_t time, AutoCorrectionMode mode,
                       const KeyedFingerprint& known, FrameAnalysis& analysis) {
    AnalysisControls controls;
    const ErrorCode read = checkOutAnalysisControls(inData, time, controls);
    if (read != error::kNone) {
        return read;
    }
    return readParameter(inData, kInputLayer, time, [&](const ParamDef& param) {
        return analyzeWorld(inData, param.layer, controls, mode, known, analysis);
    });
}

} // namespace tintwell
