#pragma once

#include "inspect/color_change.h"
#include "inspect/correction_finder.h"
#include "inspect/frame_findings.h"
#include "inspect/level_curves.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace tintwell::inspect {

struct SceneCut {
    std::int64_t frame; ///< the first one behind the cut
    double seconds;
    double distance; ///< of the channel that changes most, 0.5..1
};

/// Where one end of the correction lies: the mean input levels of red, green and blue that are sent
/// to the mean output levels.
struct LevelsEnd {
    std::array<double, 3> input{};
    std::array<double, 3> output{};
};

/// How much a clip changes from one frame to the next, as means over the pairs of frames of one
/// scene, in levels of 255.
struct Steadiness {
    double flicker = 0.0;      ///< change of the picture's mean colour, mean of the channels
    double levelsChange = 0.0; ///< change that the levels alone make to the average pixel
};

/// A smoothing that makes the corrected picture steadier.
struct SmoothingAdvice {
    SmoothingTrial smoothing;
    Steadiness left; ///< with it
};

/// What a clip's correction is as a whole.
struct CorrectionSummary {
    std::int64_t frames = 0;
    ColorChange change; ///< smoothed, before blending
    LevelsEnd black;    ///< smoothed
    LevelsEnd white;
    double contrast = 0.0;      ///< mean factor between black and white
    Steadiness before;          ///< of the picture as it is
    Steadiness found;           ///< corrected frame by frame
    Steadiness smoothed;        ///< corrected as rendered, before blending
    std::vector<SceneCut> cuts; ///< between scenes
    /// Frames before which Scene Detect stops although the scene stays the same.
    std::int64_t lightChanges = 0;
    std::optional<SmoothingAdvice> advice; ///< where the corrected picture flickers much
};

/// From here on flicker may be seen.
inline constexpr double kHighFlicker = 0.5;

/// What is worth trying: the trials of a finder whose findings are summed up.
const std::vector<SmoothingTrial>& adviceTrials();

class SummaryBuilder {
public:
    /// Frames in order; trials are those of adviceTrials, or none for no advice.
    void add(const FrameFindings& findings);

    CorrectionSummary summary() const;

private:
    /// The sums of one way of correcting.
    class Changes {
    public:
        void add(const FrameFindings& findings, const LevelsRecord& levels);
        Steadiness perPair(std::int64_t pairs) const;

    private:
        struct Frame {
            LevelCurves curves;
            std::array<double, 3> means;
        };

        std::optional<Frame> previous_;
        Steadiness sums_;
    };

    std::optional<SmoothingAdvice> advice(const Steadiness& smoothed) const;

    CorrectionSummary sums_;
    ChangeMeter change_;
    std::int64_t pairs_ = 0;
    Changes before_;
    Changes found_;
    Changes smoothed_;
    std::vector<Changes> trials_;
};

} // namespace tintwell::inspect
