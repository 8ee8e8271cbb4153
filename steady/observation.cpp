#include "steady/observation.h"

#include "module/analysis/automatic_correction.h"
#include "module/analysis/frame_measures.h"

#include <cmath>

namespace tintwell::steady {
namespace {

constexpr AutoCorrectionMode kMode = AutoCorrectionMode::ColorSearch;

std::optional<RealLevels> levelsOf(const PixelView& pixels, const AnalysisControls& controls) {
    ToneSearchContext context({pixels, controls});
    ChannelHistogram histogram;
    measureFrame(pixels, kMode, {.histogram = &histogram, .tones = &context});
    LevelsRecord found;
    computeAutoLevels(kMode, found, histogram, 0, context);
    return findRealLevels(histogram, found, context);
}

double contrastOf(const Plane& plane) {
    double sum = 0.0;
    double squares = 0.0;
    for (const double value : plane) {
        sum += value;
        squares += value * value;
    }
    const double mean = sum / BlockPicture::kBlocks;
    return std::sqrt(std::max(0.0, squares / BlockPicture::kBlocks - mean * mean));
}

/// Whether the light is far other, as under a flash: more than flicker is.
bool isJump(const LightChange& change) {
    constexpr double kJump = 0.4;
    double sum = 0.0;
    for (const LightEstimate& light : change.light) {
        sum += std::log(std::max(light.map.of(light.pivot), 1.0) / std::max(light.pivot, 1.0));
    }
    return std::abs(sum) / 3.0 > kJump;
}

bool isDisturbance(const LightChange& change) {
    return isBreak(change) || isJump(change);
}

} // namespace

bool isBreak(const LightChange& change) {
    constexpr double kSeen = 3.0;          // less is no cut for the eye
    constexpr double kOtherSurface = 12.0; // between frames without texture
    return change.likeness ? *change.likeness < kSameScene && change.difference > kSeen
                           : change.difference > kOtherSurface;
}

std::optional<Resumption> Observer::resumptionAt(const CoarsePicture& picture) const {
    for (std::size_t back = 2; back <= kLongestInterruption + 1 && back <= seen_.size(); ++back) {
        if (!seen_[back - 2].isDisturbed) {
            continue;
        }
        const LightChange change = lightChange(seen_[back - 1].picture, picture);
        if (change.likeness && !isDisturbance(change)) {
            return Resumption{back, change};
        }
    }
    return std::nullopt;
}

std::optional<double> Observer::lookFar(const CoarsePicture& picture, const FrameFacts& facts) {
    if (isDisturbance(facts.fromPrevious)) {
        far_.clear();
    }
    for (Far& far : far_) {
        const Motion& step = facts.fromPrevious.motion;
        far.since.x += step.x;
        far.since.y += step.y;
        far.since.zoom += step.zoom;
        far.since.turn += step.turn;
    }
    std::optional<double> likeness;
    if (far_.size() == kFarBack) {
        likeness =
            likenessOf(agreementOf(far_.front().texture, picture.texture, far_.front().since));
        far_.pop_front();
    }
    far_.push_back({picture.texture, {}});
    return likeness;
}

FrameFacts Observer::add(const PixelView& pixels, const AnalysisControls& controls,
                         double seconds) {
    FrameFacts facts;
    facts.seconds = seconds;
    facts.levels = levelsOf(pixels, controls);
    const CoarsePicture picture(blockPicture(pixels));
    facts.contrast = contrastOf(picture.grey);
    bool isDisturbed = false;
    if (!seen_.empty()) {
        facts.fromPrevious = lightChange(seen_.front().picture, picture);
        isDisturbed = isDisturbance(facts.fromPrevious);
    }
    if (isDisturbed) {
        facts.resumption = resumptionAt(picture);
    }
    facts.farLikeness = lookFar(picture, facts);
    seen_.push_front({picture, isDisturbed});
    if (seen_.size() > kLongestInterruption + 1) {
        seen_.pop_back();
    }
    return facts;
}

} // namespace tintwell::steady
