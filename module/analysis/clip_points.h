#pragma once

#include "module/analysis/correction_options.h"
#include "module/counting/channel_histogram.h"
#include "module/frame/analysis_controls.h"

#include <array>
#include <cstdint>

namespace tintwell {

/// The darkest and the brightest level a channel uses; low is never above high.
struct ClipPoints {
    std::uint16_t low;
    std::uint16_t high;

    bool operator==(const ClipPoints&) const = default;
};

/// The histograms to clip; a channel may be absent.
using ChannelCounts = std::array<const LevelCounts*, 3>;

/// Options with the clips of the controls in place of the defaults.
AutoCorrectionOptions optionsFor(const AnalysisControls& controls);

/// Sets aside the options' shares of the darkest and brightest pixels of each channel. The entry of
/// an absent channel is {0, 255}.
std::array<ClipPoints, 3> findClipPoints(const ChannelCounts& channels,
                                         const AutoCorrectionOptions& options);

} // namespace tintwell
