#pragma once

#include "inspect/frame_findings.h"
#include "tool/findings/analysis_writer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tintwell::tool {

/// The values of one number over time. Where a clip has more frames than curves have places, a
/// place stands for several frames in a row and has the range of their values.
struct LevelCurve {
    struct Place {
        double low;
        double high;
    };

    std::vector<Place> places;
};

/// One of kLevelsFields, of each channel.
struct FieldCurves {
    std::array<LevelCurve, kChannelNames.size()> found;
    std::array<LevelCurve, kChannelNames.size()> smoothed;
};

/// The levels of all frames: 176 bytes a frame, 3 MB for ten minutes.
class LevelSeries {
public:
    /// The most places that a curve has.
    static constexpr std::size_t kMostPlaces = 480;

    void add(const inspect::FrameFindings& findings);

    std::size_t frameCount() const { return frames_.size(); }

    std::size_t placeCount() const;

    /// Index and time of the first frame of a place.
    std::int64_t frameAt(std::size_t place) const { return frames_[begin(place)].frame; }

    double secondsAt(std::size_t place) const { return frames_[begin(place)].seconds; }

    FieldCurves curvesOf(const LevelsField& field) const;

private:
    struct Frame {
        std::int64_t frame;
        double seconds;
        LevelsRecord found;
        LevelsRecord smoothed;
    };

    std::size_t begin(std::size_t place) const { return place * frameCount() / placeCount(); }

    LevelCurve curveOf(const LevelsField& field, std::size_t channel,
                       LevelsRecord Frame::*levels) const;

    std::vector<Frame> frames_;
};

} // namespace tintwell::tool
