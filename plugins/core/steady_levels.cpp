#include "plugins/core/steady_levels.h"

#include "module/temporal/smoothed_levels.h"
#include "module/temporal/smoothing_base.h"
#include "module/temporal/smoothing_tintwell.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tintwell::plugins {
namespace {

constexpr AutoCorrectionMode kMode = AutoCorrectionMode::ColorSearch;

InData recordOf(const FrameRate& rate) {
    InData record{};
    record.quality = kQualityHigh;
    record.timeScale = rate.timeScale;
    record.timeStep = rate.timeStep;
    record.localTimeStep = rate.timeStep;
    return record;
}

std::unique_ptr<FrameCacheEntry> entryOf(const FrameFinding& finding) {
    auto entry = std::make_unique<FrameCacheEntry>();
    entry->levels = std::make_unique<LevelsRecord>(finding.levels);
    entry->histogram = std::make_unique<ChannelHistogram>(finding.histogram);
    return entry;
}

/// What was found on one side of the current frame, nearest first: as far as the window goes, or to
/// the clip's end, or to the frame behind a cut.
std::vector<SharedFinding> gatherSide(const FrameFinding& own, const SteadyRequest& request,
                                      Neighbours& neighbours, int direction) {
    std::vector<SharedFinding> side;
    const FrameFinding* previous = &own;
    const std::int64_t last = windowReach(request.rate, request.seconds);
    for (std::int64_t step = 1; step <= last; ++step) {
        SharedFinding visited = neighbours.at(request.frame + direction * step);
        if (!visited) {
            break;
        }
        side.push_back(std::move(visited));
        const FrameFinding* const nearest = side.back().get();
        if (isCut(frameDistance(previous->histogram, nearest->histogram, kMode),
                  request.sceneDetect)) {
            break;
        }
        previous = nearest;
    }
    return side;
}

} // namespace

FrameRate frameRateOf(double framesPerSecond) {
    if (!(framesPerSecond > 0.0)) {
        return {};
    }
    const double rate = std::clamp(framesPerSecond, 0.001, 1000.0);
    // Hosts hand out 23.976, 23.98 or all digits of 24000/1001.
    const double whole = std::round(rate * 1.001);
    const bool isNtsc =
        whole <= 300.0 && std::abs(rate * 1.001 - whole) < 0.006 && std::abs(rate - whole) > 0.01;
    if (isNtsc) {
        return {static_cast<std::uint32_t>(whole * 1000.0), 1001};
    }
    return {static_cast<std::uint32_t>(std::round(rate * 1000.0)), 1000};
}

std::int64_t windowReach(const FrameRate& rate, double seconds) {
    return seconds == 0.0 ? 0 : halfWindow(recordOf(rate), seconds);
}

LevelsRecord steadyLevels(const FrameFinding& own, const SteadyRequest& request,
                          Neighbours& neighbours) {
    if (request.seconds == 0.0) {
        return own.levels;
    }
    const auto before = gatherSide(own, request, neighbours, -1);
    const auto after = gatherSide(own, request, neighbours, 1);
    // For the module the clip is what was gathered. So it has no frame beyond the window to look
    // at; that frame's distance would be noted, and have no part in the levels.
    FrameCache cache;
    const auto current = static_cast<std::int32_t>(before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        cache.insert(current - 1 - static_cast<std::int32_t>(i), entryOf(*before[i]));
    }
    for (std::size_t i = 0; i < after.size(); ++i) {
        cache.insert(current + 1 + static_cast<std::int32_t>(i), entryOf(*after[i]));
    }
    void* block = &cache; // what a sequence handle points at
    InData record = recordOf(request.rate);
    record.sequenceData = &block;
    record.currentTime = current * record.timeStep;
    record.totalDuration =
        (current + 1 + static_cast<std::int32_t>(after.size())) * record.timeStep;
    ControlValues controls;
    controls.smoothingSeconds = request.seconds;
    controls.sceneDetect = request.sceneDetect ? 1 : 0;
    ParamDef* const unused[kParameterCount] = {};
    FrameAnalysis analysis = {std::make_unique<LevelsRecord>(own.levels),
                              std::make_unique<ChannelHistogram>(own.histogram),
                              {}};
    if (smoothLevels({record, unused, controls, kMode}, analysis) != error::kNone) {
        throw std::logic_error("the module cannot smooth a window");
    }
    return *analysis.levels;
} // NOLINT(clang-analyzer*): nothing of `analysis` leaks

} // namespace tintwell::plugins
