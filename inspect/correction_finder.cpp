#include "inspect/correction_finder.h"

#include "host/parameters.h"
#include "inspect/scene_change.h"
#include "media/read/clip_for_effect.h"
#include "module/analysis/automatic_correction.h"
#include "module/render/frame_correction.h"
#include "module/services/world_view.h"
#include "module/temporal/smoothed_levels.h"
#include "module/temporal/smoothing_base.h"
#include "module/temporal/smoothing_tintwell.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace tintwell::inspect {
namespace {

constexpr AutoCorrectionMode kMode = AutoCorrectionMode::ColorSearch;
constexpr std::int32_t kQualityDraft = 0;
constexpr std::int32_t kArgb = 0; ///< the order of the channels

PixelView pixelsOf(const host::FrameBuffer& pixels) {
    return viewOfPixels(viewOf(pixels.inputWorld()), kArgb);
}

void require(ErrorCode code, std::int64_t frame) {
    if (code != error::kNone) {
        throw std::runtime_error("frame " + std::to_string(frame) +
                                 " cannot be analysed (error code " + std::to_string(code) + ")");
    }
}

/// The six controls as a host holds them.
host::Parameters parametersOf(const host::ControlTracks& tracks) {
    host::Parameters parameters;
    for (std::size_t i = 1; i <= host::kControlCount; ++i) {
        const auto control = static_cast<host::Control>(i);
        const bool isCheckbox =
            control == host::Control::SceneDetect || control == host::Control::SnapNeutralMidtones;
        ParamDef record;
        std::memset(&record, 0, sizeof record);
        record.type = isCheckbox ? ControlType::Checkbox : ControlType::FloatSlider;
        parameters.declare(record);
    }
    parameters.setTracks(tracks);
    return parameters;
}

/// The records of a render's parameters, and the array of pointers that is passed on.
class ParameterList {
public:
    ParameterList(const host::ControlTracks& tracks, std::int64_t frame, const EffectWorld& input)
        : parameters_(parametersOf(tracks)) {
        records_[0] = host::layerRecord(input);
        pointers_[0] = &records_[0];
        for (std::size_t i = 1; i < records_.size(); ++i) {
            records_[i] = parameters_.recordAt(static_cast<std::int32_t>(i),
                                               static_cast<std::int32_t>(frame));
            pointers_[i] = &records_[i];
        }
    }

    ParameterList(const ParameterList&) = delete;
    ParameterList& operator=(const ParameterList&) = delete;

    ParamDef* const* get() const { return pointers_.data(); }

private:
    host::Parameters parameters_; ///< holds the texts that the records point at
    std::array<ParamDef, kParameterCount> records_{};
    std::array<ParamDef*, kParameterCount> pointers_{};
};

std::array<ClipPoints, 3> clipPointsOf(const ChannelHistogram& histogram,
                                       const AnalysisControls& controls) {
    const auto& counts = histogram.channels;
    return findClipPoints({&counts[1], &counts[2], &counts[3]}, optionsFor(controls));
}

} // namespace

double greatestOf(const NeighbourWeights& distance) {
    return std::max({distance.red, distance.green, distance.blue});
}

bool cutBefore(const FrameFindings& findings) {
    return findings.fromPrevious && isCut(*findings.fromPrevious, true);
}

std::int64_t smoothingReach(const host::ClipTiming& timing, double seconds) {
    InData record{};
    record.timeStep = timing.timeStep;
    record.timeScale = timing.timeScale;
    return halfWindow(record, seconds) + 1;
}

CorrectionFinder::CorrectionFinder(FinderOptions options) : options_(std::move(options)) {
    const auto reachOver = [&](double seconds) {
        reach_ = std::max(reach_, smoothingReach(options_.timing, seconds));
    };
    if (options_.highQuality) {
        reachOver(options_.controls[host::Control::TemporalSmoothing].greatestValue());
    }
    for (const SmoothingTrial& trial : options_.trials) {
        reachOver(trial.seconds);
    }
}

ControlValues CorrectionFinder::controlsAt(std::int64_t frame) const {
    const ParameterList params(options_.controls, frame, EffectWorld{});
    ControlValues values;
    require(readControls(params.get(), values), frame);
    return values;
}

/// The host's record for a render of the frame, whose neighbours are all in the cache.
InData CorrectionFinder::recordFor(std::int64_t frame, bool highQuality) {
    const host::ClipTiming& timing = options_.timing;
    InData record{};
    record.quality = highQuality ? kQualityHigh : kQualityDraft;
    record.timeStep = timing.timeStep;
    record.localTimeStep = timing.timeStep;
    record.timeScale = timing.timeScale;
    record.totalDuration = timing.timeOf(timing.frameCount);
    record.currentTime = timing.timeOf(static_cast<std::int32_t>(frame));
    record.sequenceData = &cacheBlock_;
    return record;
}

bool CorrectionFinder::add(std::int64_t frame, double seconds, const host::FrameBuffer& pixels,
                           bool wanted) {
    FrameFindings findings;
    findings.frame = frame;
    findings.seconds = seconds;
    findings.controls = controlsAt(frame);
    auto entry = std::make_unique<FrameCacheEntry>();
    analyzeFrame(kMode, {pixelsOf(pixels), findings.controls.analysis}, entry->levels,
                 entry->histogram);
    findings.histogram = *entry->histogram;
    findings.found = *entry->levels;
    findings.clipPoints = clipPointsOf(findings.histogram, findings.controls.analysis);
    if (waiting_.empty()) {
        setClockFor(frame);
    }
    const std::int32_t index = cacheIndex(frame);
    if (const FrameCacheEntry* previous = cache_.find(index - 1)) {
        findings.fromPrevious = frameDistance(*previous->histogram, *entry->histogram, kMode);
        findings.startsScene = cutBefore(findings) &&
                               correctedDistance(*previous->histogram, *previous->levels,
                                                 *entry->histogram, *entry->levels) >= kOtherScene;
    }
    cache_.insert(index, std::move(entry));
    const bool startsScene = findings.startsScene;
    if (wanted) {
        waiting_.push_back(std::move(findings));
    }
    added_ = frame + 1;
    return startsScene;
}

void CorrectionFinder::finish() {
    finished_ = true;
    options_.timing.frameCount = static_cast<std::int32_t>(
        std::max<std::int64_t>(added_, options_.timing.firstFrame + std::int64_t{1}));
}

std::optional<FrameFindings> CorrectionFinder::next() {
    if (waiting_.empty() || (!finished_ && waiting_.front().frame + reach_ >= added_)) {
        return {};
    }
    FrameFindings findings = std::move(waiting_.front());
    waiting_.pop_front();
    setClockFor(findings.frame);
    const std::int32_t index = cacheIndex(findings.frame);
    if (const FrameCacheEntry* following = cache_.find(index + 1)) {
        findings.toNext = frameDistance(findings.histogram, *following->histogram, kMode);
    }
    findings.smoothed = smooth(findings, findings.controls, options_.highQuality);
    for (const SmoothingTrial& trial : options_.trials) {
        ControlValues controls = findings.controls;
        controls.smoothingSeconds = trial.seconds;
        controls.sceneDetect = trial.sceneDetect ? 1 : 0;
        findings.trials.push_back(smooth(findings, controls, true));
    }
    forgetBefore(findings.frame + 1 - reach_);
    return findings;
}

LevelsRecord CorrectionFinder::smooth(const FrameFindings& own, const ControlValues& controls,
                                      bool highQuality) {
    const InData record = recordFor(own.frame, highQuality);
    const ParameterList params(options_.controls, own.frame, EffectWorld{});
    const RenderRequest request = {record, params.get(), controls, kMode};
    if (!isSmoothed(request)) {
        return own.found;
    }
    FrameAnalysis analysis = {std::make_unique<LevelsRecord>(own.found),
                              std::make_unique<ChannelHistogram>(own.histogram),
                              {}};
    require(smoothLevels(request, analysis), own.frame);
    return *analysis.levels;
} // NOLINT(clang-analyzer*): nothing of `analysis` leaks

void CorrectionFinder::forgetBefore(std::int64_t frame) {
    if (frame > options_.timing.firstFrame) {
        cache_.invalidate(0, cacheIndex(frame), Invalidation::Remove);
    }
}

/// The cache counts as the effect's clock does.
std::int32_t CorrectionFinder::cacheIndex(std::int64_t frame) const {
    return static_cast<std::int32_t>(frame - options_.timing.firstFrame);
}

/// Lets the clip begin a window before the frame, where it begins too far before it for times of 32
/// bits. Findings do not depend on where a clip begins beyond their windows.
void CorrectionFinder::setClockFor(std::int64_t frame) {
    host::ClipTiming& timing = options_.timing;
    const auto first = static_cast<std::int32_t>(std::max<std::int64_t>(0, frame - reach_ - 1));
    if (first - timing.firstFrame < media::kFramesOnOneClock) {
        return;
    }
    FrameCache renewed;
    for (const FrameCache::Slot& slot : cache_.slots()) {
        const std::int64_t index = std::int64_t{slot.frame} + timing.firstFrame - first;
        if (index >= 0) {
            auto entry = std::make_unique<FrameCacheEntry>();
            entry->levels = std::make_unique<LevelsRecord>(*slot.entry->levels);
            entry->histogram = std::make_unique<ChannelHistogram>(*slot.entry->histogram);
            renewed.insert(static_cast<std::int32_t>(index), std::move(entry));
        }
    }
    cache_ = std::move(renewed);
    timing.firstFrame = first;
    if (!finished_) {
        timing.frameCount = timing.longestFrameCount();
    }
}

ChannelHistogram histogramOf(const host::FrameBuffer& pixels) {
    ChannelHistogram histogram;
    gatherHistogram(histogram, pixelsOf(pixels), combinesColors(kMode), kMode);
    return histogram;
}

void correctPixels(const FrameFindings& findings, const host::FrameBuffer& input,
                   host::FrameBuffer& output) {
    EffectWorld world = output.world();
    require(correctFrame(input.inputWorld(), &world,
                         {findings.smoothed, findings.controls.blend, kArgb}),
            findings.frame);
}

} // namespace tintwell::inspect
