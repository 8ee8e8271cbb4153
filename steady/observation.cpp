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

double contrastOf(const BlockPicture& picture) {
    double sum = 0.0;
    double squares = 0.0;
    for (std::size_t i = 0; i < BlockPicture::kBlocks; ++i) {
        const double grey = (picture.means[0][i] + picture.means[1][i] + picture.means[2][i]) / 3.0;
        sum += grey;
        squares += grey * grey;
    }
    const double mean = sum / BlockPicture::kBlocks;
    return std::sqrt(std::max(0.0, squares / BlockPicture::kBlocks - mean * mean));
}

/// Whether the light is far other, as under a flash: more than flicker is.
bool isJump(const LightChange& change) {
    constexpr double kJump = 0.3;
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

std::optional<Resumption> Observer::resumptionAt(const BlockPicture& picture) const {
    for (std::size_t back = 2; back <= kFactsReach && back <= seen_.size(); ++back) {
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

FrameFacts Observer::add(const PixelView& pixels, const AnalysisControls& controls,
                         double seconds) {
    FrameFacts facts;
    facts.seconds = seconds;
    facts.levels = levelsOf(pixels, controls);
    const BlockPicture picture = blockPicture(pixels);
    facts.contrast = contrastOf(picture);
    bool isDisturbed = false;
    if (!seen_.empty()) {
        facts.fromPrevious = lightChange(seen_.front().picture, picture);
        isDisturbed = isDisturbance(facts.fromPrevious);
        if (isDisturbed) {
            facts.resumption = resumptionAt(picture);
        }
    }
    seen_.push_front({picture, isDisturbed});
    if (seen_.size() > kFactsReach) {
        seen_.pop_back();
    }
    return facts;
}

} // namespace tintwell::steady
