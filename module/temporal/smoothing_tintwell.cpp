#include "module/temporal/smoothing_tintwell.h"

#include "module/frame/pixel_view.h"
#include "module/numeric/rounding.h"
#include "module/services/frame_time.h"
#include "module/services/world_view.h"
#include "module/temporal/neighbour_frames.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

namespace tintwell {
namespace {

constexpr std::size_t kKeptEntries = 5;
constexpr std::size_t kSmoothedEntries = 4;
constexpr double kCutInOneChannel = 0.5;
constexpr double kCutInAllChannels = 1.0;
constexpr NeighbourWeights kEndOfClip = {1.0, 1.0, 1.0};

using Field = std::uint16_t LevelsEntry::*;
constexpr std::array<Field, 4> kSmoothedFields = {
    &LevelsEntry::inputBlack, &LevelsEntry::inputWhite, &LevelsEntry::outputBlack,
    &LevelsEntry::outputWhite};

std::uint16_t toLevel(double value) {
    return static_cast<std::uint16_t>(truncateToInt32(value + 0.5));
}

double countDistance(const LevelCounts& a, const LevelCounts& b) {
    std::int64_t sum = 0;
    for (std::size_t bin = 0; bin < a.size(); ++bin) {
        sum += std::abs(std::int64_t{static_cast<std::int32_t>(a[bin] - b[bin])});
    }
    return static_cast<double>(sum);
}

double normalised(double distance, double pixels) {
    return pixels > 0.0 ? std::min(1.0, distance / pixels) : 0.0;
}

double totalOf(const LevelCounts& counts) {
    return static_cast<double>(std::accumulate(counts.begin(), counts.end(), std::uint64_t{0}));
}

/// What both sides and the current frame give for one field: each side holds its own share back as
/// its weight says, and the current frame takes the rest.
struct Mix {
    bool hasBefore;
    bool hasAfter;

    double of(double before, double current, double after, double weightBefore,
              double weightAfter) const {
        if (hasBefore && hasAfter) {
            return before * (1.0 - weightBefore) * 0.5 + after * (1.0 - weightAfter) * 0.5 +
                   current * (weightBefore + weightAfter) * 0.5;
        }
        return hasBefore
                   ? before * (1.0 - weightBefore) * 0.5 + current * (1.0 + weightBefore) * 0.5
                   : after * (1.0 - weightAfter) * 0.5 + current * (1.0 + weightAfter) * 0.5;
    }
};

} // namespace

NeighbourWeights frameDistance(const ChannelHistogram& previous, const ChannelHistogram& visited,
                               AutoCorrectionMode mode) {
    const bool luminance = mode == AutoCorrectionMode::MonochromaticContrast;
    const double pixels = totalOf(visited.channels[luminance ? 0 : 1]);
    const auto distance = [&](std::size_t channel) {
        return normalised(countDistance(previous.channels[channel], visited.channels[channel]),
                          pixels);
    };
    if (luminance) {
        const double all = distance(0);
        return {all, all, all};
    }
    return {distance(1), distance(2), distance(3)};
}

bool isCut(const NeighbourWeights& distance, bool sceneDetect) {
    const auto [least, greatest] = std::minmax({distance.red, distance.green, distance.blue});
    return (sceneDetect && greatest >= kCutInOneChannel) || least >= kCutInAllChannels;
}

void copySmoothedEntries(const LevelsRecord& from, LevelsRecord& to) {
    std::copy_n(from.entries.begin(), kKeptEntries, to.entries.begin());
}

ErrorCode CTemporalSmoothingTintwell::Compute(FrameCacheEntry* destination) {
    if (destination == nullptr || !destination->levels || !isReady() || !result_ ||
        !result_->levels) {
        return error::kMissingRecord;
    }
    destination->signature.reset();
    std::copy_n(result_->levels->entries.begin(), kSmoothedEntries,
                destination->levels->entries.begin());
    openWindow(Side::Before);
    openWindow(Side::After);
    ErrorCode code = MeasureWindow();
    if (code == error::kNone) {
        code = StoreBefore();
    }
    if (code == error::kNone) {
        code = StoreAfter();
    }
    if (code != error::kNone) {
        ReleaseUncached();
        return code;
    }
    result_->towardEarlier = measuredBefore_.weights.front();
    result_->towardLater = measuredAfter_.weights.front();
    storeResult();
    return combineSides(*destination->levels);
}

ErrorCode CTemporalSmoothingTintwell::MeasureWindow() {
    const ErrorCode code = MeasureSide(Side::Before, measuredBefore_);
    return code != error::kNone ? code : MeasureSide(Side::After, measuredAfter_);
}

ErrorCode CTemporalSmoothingTintwell::MeasureSide(Side side, MeasuredSide& measured) {
    Window& window = windowOn(side);
    measured.fingerprints.push_back(Held<ChannelHistogram>::lent(result_->histogram.get()));
    for (std::int32_t step = 1; step <= window.count; ++step) {
        const std::int32_t frame = saturate(frameOn(side, step));
        ErrorCode code = askAbort();
        if (code == error::kNone) {
            code = measureFrame(frame, measured);
        }
        if (code == error::kNone) {
            code = appendWeights(measured);
        }
        if (code != error::kNone) {
            return code;
        }
        if (isCut(measured.weights.back(), sceneDetect_ != 0)) {
            window.bound = frame;
            window.count = step;
        }
    }
    return measureBeyond(frameOn(side, std::int64_t{window.count} + 1), measured);
}

ErrorCode CTemporalSmoothingTintwell::measureFrame(std::int32_t frame, MeasuredSide& measured) {
    const FrameCacheEntry* entry = cache_->find(frame);
    if (entry != nullptr && !entry->isStale) {
        measured.levels.push_back(Held<LevelsRecord>::lent(entry->levels.get()));
        measured.sources.push_back(entry->source);
        measured.fingerprints.push_back(Held<ChannelHistogram>::lent(entry->histogram.get()));
        return error::kNone;
    }
    FrameAnalysis analysis;
    if (entry != nullptr && entry->histogram) {
        // A stale frame has other controls but the same pixels.
        analysis.fingerprint = std::make_unique<ChannelHistogram>(*entry->histogram);
    }
    const FrameCache::BeyondWindow& beyond = cache_->beyondWindow();
    const KeyedFingerprint* known = beyond.frame == frame ? &beyond.found : nullptr;
    const ErrorCode code = analyzeInput(*inData_, timeOfFrame(*inData_, frame),
                                        {mode_, cache_->secret()}, known, analysis);
    if (code == error::kNone) {
        measured.levels.push_back(Held<LevelsRecord>::owned(std::move(analysis.levels)));
        measured.sources.push_back(analysis.source);
        measured.fingerprints.push_back(
            Held<ChannelHistogram>::owned(std::move(analysis.fingerprint)));
    }
    return code;
}

ErrorCode CTemporalSmoothingTintwell::measureBeyond(std::int64_t frame, MeasuredSide& measured) {
    if (!isInClip(frame)) {
        measured.weights.push_back(kEndOfClip);
        return error::kNone;
    }
    const std::int32_t index = saturate(frame);
    const FrameCacheEntry* entry = cache_->find(index);
    if (entry != nullptr) {
        measured.fingerprints.push_back(Held<ChannelHistogram>::lent(entry->histogram.get()));
    } else {
        const ErrorCode code = readBeyond(index);
        if (code != error::kNone) {
            return code;
        }
        measured.fingerprints.push_back(Held<ChannelHistogram>::owned(
            std::make_unique<ChannelHistogram>(cache_->beyondWindow().found.histogram)));
    }
    return appendWeights(measured);
}

ErrorCode CTemporalSmoothingTintwell::readBeyond(std::int32_t frame) {
    FrameCache::BeyondWindow& beyond = cache_->beyondWindow();
    if (beyond.frame != frame) {
        beyond.found.key = {};
    }
    beyond.frame = frame;
    return readFingerprint(*inData_, timeOfFrame(*inData_, frame), {mode_, cache_->secret()},
                           beyond.found);
}

ErrorCode CTemporalSmoothingTintwell::appendWeights(MeasuredSide& measured) const {
    const auto& visited = measured.fingerprints;
    const ChannelHistogram* previous = visited[visited.size() - 2].get();
    const ChannelHistogram* current = visited.back().get();
    if (previous == nullptr || current == nullptr) {
        return error::kMissingRecord;
    }
    measured.weights.push_back(frameDistance(*previous, *current, mode_));
    return error::kNone;
}

ErrorCode CTemporalSmoothingTintwell::storeSide(Side side) {
    MeasuredSide& measured = measuredOn(side);
    for (std::int32_t step = windowOn(side).count; step >= 1; --step) {
        const auto k = static_cast<std::size_t>(step) - 1;
        const std::int32_t frame = saturate(frameOn(side, step));
        FrameCacheEntry* cached = cache_->find(frame);
        if (cached == nullptr) {
            auto entry = std::make_unique<FrameCacheEntry>();
            entry->levels = measured.levels[k].handOver();
            entry->histogram = measured.fingerprints[k + 1].handOver();
            entry->source = measured.sources[k];
            const bool before = side == Side::Before;
            entry->towardEarlier = measured.weights[before ? k + 1 : k];
            entry->towardLater = measured.weights[before ? k : k + 1];
            cache_->insert(frame, std::move(entry));
        } else if (cached->isStale) {
            cached->levels = measured.levels[k].handOver();
            cached->source = {};
            cached->isStale = false;
        }
    }
    return error::kNone;
}

void CTemporalSmoothingTintwell::ReleaseUncached() {
    measuredBefore_ = {};
    measuredAfter_ = {};
}

std::array<double, 4>
CTemporalSmoothingTintwell::entryWeights(const NeighbourWeights& weights) const {
    const bool luminance = mode_ == AutoCorrectionMode::MonochromaticContrast;
    return {luminance ? weights.red : 1.0, weights.red, weights.green, weights.blue};
}

ErrorCode CTemporalSmoothingTintwell::AccumulateSide(LevelsRecord& accumulator, Side side) {
    const Window& window = windowOn(side);
    for (std::int32_t step = window.count; step >= 1; --step) {
        const FrameCacheEntry* entry = cache_->find(saturate(frameOn(side, step)));
        if (entry == nullptr || !entry->levels) {
            return error::kMissingRecord;
        }
        if (step == window.count) {
            copySmoothedEntries(*entry->levels, accumulator);
            continue;
        }
        const auto weights = entryWeights(measuredOn(side).weights[static_cast<std::size_t>(step)]);
        for (std::size_t e = 0; e < kSmoothedEntries; ++e) {
            for (const Field field : kSmoothedFields) {
                std::uint16_t& level = accumulator.entries[e].*field;
                level = toLevel(entry->levels->entries[e].*field * weights[e] +
                                level * (1.0 - weights[e]));
            }
        }
    }
    return error::kNone;
}

ErrorCode CTemporalSmoothingTintwell::combineSides(LevelsRecord& destination) {
    const Mix mix = {windowOn(Side::Before).count > 0, windowOn(Side::After).count > 0};
    if (!mix.hasBefore && !mix.hasAfter) {
        return error::kNone;
    }
    LevelsRecord before;
    LevelsRecord after;
    ErrorCode code = AccumulateSide(before, Side::Before);
    if (code == error::kNone) {
        code = AccumulateSide(after, Side::After);
    }
    if (code != error::kNone) {
        return code;
    }
    const auto weightsBefore = entryWeights(measuredBefore_.weights.front());
    const auto weightsAfter = entryWeights(measuredAfter_.weights.front());
    const LevelsRecord& current = *result_->levels;
    for (std::size_t e = 0; e < kSmoothedEntries; ++e) {
        for (const Field field : kSmoothedFields) {
            destination.entries[e].*field =
                toLevel(mix.of(before.entries[e].*field, current.entries[e].*field,
                               after.entries[e].*field, weightsBefore[e], weightsAfter[e]));
        }
    }
    return error::kNone;
}

ErrorCode CTemporalSmoothingTintwell::IsFrameUnchanged(const EffectWorld* world,
                                                       const FrameCacheEntry& entry,
                                                       bool& unchanged) {
    if (inData_ == nullptr || world == nullptr || lacksPixels(*world) || !entry.histogram) {
        return error::kMissingRecord;
    }
    ChannelHistogram now;
    gatherHistogram(now, pixelsOf(*inData_, *world), combinesColors(mode_), mode_);
    const std::size_t channel = mode_ == AutoCorrectionMode::MonochromaticContrast ? 0 : 1;
    const double pixels = totalOf(now.channels[channel]);
    unchanged = normalised(countDistance(entry.histogram->channels[channel], now.channels[channel]),
                           pixels) == 0.0;
    return error::kNone;
}

} // namespace tintwell
