#include "tool/findings/level_series.h"

#include <algorithm>

namespace tintwell::tool {

void LevelSeries::add(const inspect::FrameFindings& findings) {
    frames_.push_back({findings.frame, findings.seconds, findings.found, findings.smoothed});
}

std::size_t LevelSeries::placeCount() const {
    return std::min(frameCount(), kMostPlaces);
}

FieldCurves LevelSeries::curvesOf(const LevelsField& field) const {
    FieldCurves curves;
    for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
        curves.found[c] = curveOf(field, c, &Frame::found);
        curves.smoothed[c] = curveOf(field, c, &Frame::smoothed);
    }
    return curves;
}

LevelCurve LevelSeries::curveOf(const LevelsField& field, std::size_t channel,
                                LevelsRecord Frame::*levels) const {
    LevelCurve curve;
    for (std::size_t place = 0; place < placeCount(); ++place) {
        std::uint16_t low = UINT16_MAX;
        std::uint16_t high = 0;
        for (std::size_t i = begin(place); i < begin(place + 1); ++i) {
            const std::uint16_t value = (frames_[i].*levels).entries[channel + 1].*field.member;
            low = std::min(low, value);
            high = std::max(high, value);
        }
        curve.places.push_back({low / field.scale, high / field.scale});
    }
    return curve;
}

} // namespace tintwell::tool
