#include "temporal/neighbour_frames.h"

#include "analysis/automatic_correction.h"
#include "effect/frame_time.h"
#include "effect/parameter_checkout.h"
#include "effect/pixel_view.h"
#include "effect/world_view.h"
#include "temporal/split_frame.h"

namespace tintwell {
namespace {

constexpr auto kInputLayer = static_cast<std::int32_t>(Param::InputLayer);

} // namespace

std::int32_t timeOfFrame(const InData& inData, std::int32_t frame) {
    const std::int64_t step = inData.timeStep == 0 ? 1 : inData.timeStep;
    return saturate(frame * step);
}

ErrorCode readFingerprint(const InData& inData, std::int32_t time, AutoCorrectionMode mode,
                          ChannelHistogram& fingerprint) {
    return readParameter(inData, kInputLayer, time, [&](const ParamDef& param) {
        if (lacksPixels(param.layer)) {
            return error::kMissingRecord;
        }
        gatherHistogram(fingerprint, viewOfPixels(viewOf(param.layer), channelOrderOf(inData)),
                        combinesColors(mode), mode);
        return error::kNone;
    });
}

ErrorCode analyzeWorld(const InData& inData, const EffectWorld& world,
                       const AnalysisControls& controls, AutoCorrectionMode mode,
                       std::unique_ptr<LevelsRecord>& levels,
                       std::unique_ptr<ChannelHistogram>& fingerprint) {
    SplitFrame frame;
    const ErrorCode split = splitFrame(inData, world, controls, frame);
    if (split == error::kNone) {
        analyzeFrame(mode, frame.image, levels, fingerprint);
    }
    return split;
}

ErrorCode analyzeInput(const InData& inData, std::int32_t time, AutoCorrectionMode mode,
                       std::unique_ptr<LevelsRecord>& levels,
                       std::unique_ptr<ChannelHistogram>& fingerprint) {
    AnalysisControls controls;
    const ErrorCode read = checkOutAnalysisControls(inData, time, controls);
    if (read != error::kNone) {
        return read;
    }
    return readParameter(inData, kInputLayer, time, [&](const ParamDef& param) {
        return analyzeWorld(inData, param.layer, controls, mode, levels, fingerprint);
    });
}

} // namespace tintwell
