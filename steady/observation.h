#pragma once

#include "module/frame/analysis_controls.h"
#include "steady/light_change.h"
#include "steady/real_levels.h"

#include <cstddef>
#include <deque>
#include <optional>

namespace tintwell::steady {

/// A scene shows again what it showed before a flash, or before something covered the lens.
struct Resumption {
    std::size_t after;  ///< frames back to the one that it resumes, at least 2
    LightChange change; ///< since then
};

/// What steadiness needs to know of a frame: some hundreds of bytes.
struct FrameFacts {
    double seconds = 0.0;             ///< when it is shown
    std::optional<RealLevels> levels; ///< as found of it alone; none where it has too little range
    double contrast = 0.0;            ///< the deviation of its coarse levels from their mean
    LightChange fromPrevious;         ///< of no worth in a clip's first frame
    std::optional<Resumption> resumption;
    /// How well the texture of `kFarBack` frames ago is still there, where the motion since then
    /// puts it, 0..1. None where that is not known, or cannot be told.
    std::optional<double> farLikeness;
};

inline constexpr std::size_t kFarBack = 24;

/// The most frames that an interruption lasts.
inline constexpr std::size_t kLongestInterruption = 4;

/// How many frames before a frame its facts depend on: since when a scene is known to go on.
inline constexpr std::size_t kFactsReach = kFarBack + kLongestInterruption + 1;

/// Whether the later frame shows something else than the earlier one.
bool isBreak(const LightChange& change);

/// Finds the facts of a clip's frames, taking each once and in order. Keeps the coarse pictures of
/// the last few.
class Observer {
public:
    /// The frame's alpha does not matter. Throws std::bad_alloc.
    FrameFacts add(const PixelView& pixels, const AnalysisControls& controls, double seconds);

private:
    struct Seen {
        CoarsePicture picture;
        bool isDisturbed; ///< from the frame before: another picture, or far other light
    };

    struct Far {
        Plane texture;
        Motion since;
    };

    std::optional<Resumption> resumptionAt(const CoarsePicture& picture) const;
    std::optional<double> lookFar(const CoarsePicture& picture, const FrameFacts& facts);

    std::deque<Seen> seen_; ///< the last ones, latest first
    std::deque<Far> far_;   ///< of the scene, earliest first
};

} // namespace tintwell::steady
