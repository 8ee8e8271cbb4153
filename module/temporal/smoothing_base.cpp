#include "module/temporal/smoothing_base.h"

#include "module/numeric/rounding.h"
#include "module/services/control_values.h"
#include "module/services/frame_time.h"
#include "module/services/parameter_checkout.h"
#include "module/services/suites.h"
#include "module/services/world_view.h"
#include "module/temporal/neighbour_frames.h"

#include <algorithm>

namespace tintwell {
namespace {

constexpr double kCutBudgetPerSecond = 0.2;

} // namespace

std::int64_t halfWindow(const InData& inData, double seconds) {
    const double step = inData.timeStep == 0 ? 1.0 : inData.timeStep;
    const std::int32_t frames = truncateToInt32(inData.timeScale * seconds / step + 0.5);
    return std::max<std::int64_t>(0, (std::int64_t{frames} + 1) / 2);
}

void CTemporalSmoothingBase::Init(const InData* inData, ParamDef* const* params, double seconds,
                                  std::int32_t sceneDetect, FrameCache* cache) {
    inData_ = inData;
    params_ = params;
    seconds_ = seconds;
    sceneDetect_ = sceneDetect;
    cache_ = cache;
}

void CTemporalSmoothingBase::SetResult(Held<FrameCacheEntry> entry) {
    result_ = std::move(entry);
}

std::int32_t CTemporalSmoothingBase::currentFrame() const {
    return frameAt(inData_->currentTime, inData_->timeStep);
}

std::int32_t CTemporalSmoothingBase::totalFrames() const {
    return divideTime(inData_->totalDuration, inData_->timeStep);
}

std::int64_t CTemporalSmoothingBase::frameOn(Side side, std::int64_t steps) const {
    return currentFrame() + (side == Side::Before ? -steps : steps);
}

void CTemporalSmoothingBase::openWindow(Side side) {
    const std::int64_t half = halfWindow(*inData_, seconds_);
    const std::int64_t room =
        side == Side::Before ? currentFrame() : std::int64_t{totalFrames()} - currentFrame() - 1;
    Window& window = windowOn(side);
    window.count = saturate(std::max<std::int64_t>(0, std::min(half, room)));
    window.bound = saturate(frameOn(side, window.count));
}

ErrorCode CTemporalSmoothingBase::askAbort() const {
    return inData_->abort == nullptr ? error::kNone : inData_->abort(inData_->effectReference);
}

ErrorCode CTemporalSmoothingBase::GatherBefore() {
    if (!isReady()) {
        return error::kMissingRecord;
    }
    openWindow(Side::Before);
    return Gather(Side::Before);
}

ErrorCode CTemporalSmoothingBase::GatherAfter() {
    if (!isReady()) {
        return error::kMissingRecord;
    }
    openWindow(Side::After);
    return Gather(Side::After);
}

ErrorCode CTemporalSmoothingBase::takeSignature(std::int32_t frame,
                                                Held<ColorSignature>& signature) const {
    const FrameCacheEntry* entry = cache_->find(frame);
    if (entry != nullptr && entry->signature) {
        signature = Held<ColorSignature>::lent(entry->signature.get());
        return error::kNone;
    }
    auto built = std::make_unique<ColorSignature>();
    const ErrorCode code =
        readParameter(*inData_, static_cast<std::int32_t>(Param::InputLayer),
                      timeOfFrame(*inData_, frame), [&](const ParamDef& param) {
                          const bool failed =
                              lacksPixels(param.layer) ||
                              buildSignature(viewOf(param.layer), channelOrderOf(*inData_),
                                             *built) != error::kNone;
                          return failed ? error::kMissingRecord : error::kNone;
                      });
    signature = Held<ColorSignature>::owned(std::move(built));
    return code;
}

double CTemporalSmoothingBase::differenceBetween(std::int32_t previous,
                                                 const ColorSignature& previousSignature,
                                                 const ColorSignature& signature, Side side) const {
    const FrameCacheEntry* cached = cache_->find(previous);
    if (cached != nullptr && cached->signature) {
        return side == Side::After ? cached->differenceToNext : cached->differenceToPrevious;
    }
    const double pixels = signatureTotal(signature);
    return pixels > 0.0 ? signatureDifference(previousSignature, signature) / (2.0 * pixels) : 0.0;
}

ErrorCode CTemporalSmoothingBase::Gather(Side side) {
    Window& window = windowOn(side);
    Walk& walk = walkOn(side);
    const double budget = seconds_ * kCutBudgetPerSecond;
    double spent = 0.0;
    bool isCut = false;
    std::int64_t lastStep = window.count;
    for (std::int64_t step = 0; step <= lastStep && (step == 0 || isInClip(frameOn(side, step)));
         ++step) {
        const std::int32_t frame = saturate(frameOn(side, step));
        ErrorCode code = askAbort();
        Held<ColorSignature> signature;
        if (code == error::kNone) {
            code = takeSignature(frame, signature);
        }
        if (code != error::kNone) {
            return code;
        }
        walk.signatures.push_back(std::move(signature));
        if (step == 0) {
            continue;
        }
        const auto& visited = walk.signatures;
        const double difference = differenceBetween(
            saturate(frameOn(side, step - 1)), *visited[visited.size() - 2], *visited.back(), side);
        walk.differences.push_back(difference);
        spent += difference;
        if (sceneDetect_ != 0 && !isCut && spent > budget) {
            isCut = true;
            window.bound = frame;
            window.count = saturate(step);
            lastStep = step + 1;
        }
    }
    if (window.bound == (side == Side::Before ? 0 : totalFrames() - 1)) {
        walk.differences.push_back(1.0);
    }
    return error::kNone;
}

void CTemporalSmoothingBase::completeResult() {
    if (!walkBefore_.differences.empty()) {
        result_->differenceToPrevious = walkBefore_.differences.front();
    }
    if (!walkAfter_.differences.empty()) {
        result_->differenceToNext = walkAfter_.differences.front();
    }
    if (!walkAfter_.signatures.empty()) {
        Held<ColorSignature>& current = walkAfter_.signatures.front();
        if (current.isOwned()) {
            result_->signature = current.handOver();
        } else if (current.get() != result_->signature.get()) {
            result_->signature = std::make_unique<ColorSignature>(*current);
        }
    }
}

void CTemporalSmoothingBase::storeResult() {
    if (cache_->find(currentFrame()) == nullptr && result_.isOwned()) {
        cache_->insert(currentFrame(), result_.handOver());
    }
}

ErrorCode CTemporalSmoothingBase::Compute(FrameCacheEntry* destination) {
    if (destination == nullptr || !result_) {
        return error::kMissingRecord;
    }
    using Stage = ErrorCode (CTemporalSmoothingBase::*)();
    for (const Stage stage :
         {&CTemporalSmoothingBase::GatherBefore, &CTemporalSmoothingBase::GatherAfter,
          &CTemporalSmoothingBase::MeasureWindow, &CTemporalSmoothingBase::StoreBefore,
          &CTemporalSmoothingBase::StoreAfter}) {
        const ErrorCode code = (this->*stage)();
        if (code != error::kNone) {
            ReleaseUncached();
            return code;
        }
    }
    completeResult();
    storeResult();
    return error::kNone;
}

void CTemporalSmoothingBase::ReleaseUncached() {
    walkBefore_ = {};
    walkAfter_ = {};
}

ErrorCode CTemporalSmoothingBase::UpdateState() {
    if (cache_ == nullptr || inData_ == nullptr) {
        return error::kNone;
    }
    const AcquiredSuite<ParamUtilsSuite> suite(*inData_);
    if (!suite.isUsable() || suite->getCurrentState == nullptr ||
        suite->areStatesIdentical == nullptr) {
        return error::kNone;
    }
    StateToken now{};
    std::uint8_t identical = 1;
    const std::uint64_t effect = inData_->effectReference;
    if (suite->getCurrentState(effect, 0, nullptr, nullptr, &now) == error::kNone &&
        suite->areStatesIdentical(effect, &now, &cache_->state, &identical) == error::kNone &&
        identical == 0) {
        cache_->clear();
        cache_->state = now;
    }
    return error::kNone;
}

ErrorCode CTemporalSmoothingBase::CheckCachedNeighbour(bool& valid) {
    valid = true;
    if (!isReady()) {
        return error::kMissingRecord;
    }
    const std::int64_t nearest = frameOn(Side::Before, 1);
    const std::int64_t farthest =
        std::max<std::int64_t>(0, frameOn(Side::Before, halfWindow(*inData_, seconds_)));
    for (std::int64_t frame = nearest; frame >= farthest; --frame) {
        const FrameCacheEntry* entry = cache_->find(saturate(frame));
        if (entry == nullptr) {
            continue;
        }
        ParameterCheckout checkout(*inData_, static_cast<std::int32_t>(Param::InputLayer),
                                   timeOfFrame(*inData_, saturate(frame)));
        if (checkout.code() != error::kNone) {
            valid = false;
            return checkout.code();
        }
        const ErrorCode code = IsFrameUnchanged(&checkout.param().layer, *entry, valid);
        const ErrorCode checkedIn = checkout.checkIn();
        return code != error::kNone ? code : checkedIn;
    }
    return error::kNone;
}

ErrorCode CTemporalSmoothingBase::IsFrameUnchanged(const EffectWorld* world,
                                                   const FrameCacheEntry& entry, bool& unchanged) {
    ColorSignature signature;
    if (inData_ == nullptr || world == nullptr || lacksPixels(*world) || !entry.signature ||
        buildSignature(viewOf(*world), channelOrderOf(*inData_), signature) != error::kNone) {
        return error::kMissingRecord;
    }
    // Divided by a number of pixels above 0 or not, only equal signatures are 0.0 apart.
    unchanged = signatureDifference(*entry.signature, signature) == 0.0;
    return error::kNone;
}

} // namespace tintwell
