#pragma once

// What one render without temporal smoothing must produce, worked out a second time in the plainest
// way, to compare the module's pixels with. It shares no code with the module.

#include <array>
#include <cstdint>
#include <vector>

namespace tintwell::reference {

/// Rows from top to bottom without padding; a pixel is its four samples in the host's order:
/// A,R,G,B, or B,G,R,A when alphaLast.
struct Frame {
    int width = 0;
    int height = 0;
    bool deep = false; ///< samples of 0..32768 instead of 0..255
    bool alphaLast = false;
    std::vector<std::array<std::uint32_t, 4>> pixels;
};

/// The controls as the user sets them: seconds, percentages, and checkboxes.
struct Controls {
    double smoothing = 0.0;
    std::int32_t sceneDetect = 0;
    double blackClip = 0.1;
    double whiteClip = 0.1;
    std::int32_t snap = 0;
    double blend = 0.0;
};

/// The correction of one channel, on the 0..255 scale; gamma in hundredths.
struct ChannelLevels {
    int inputBlack = 0;
    int inputWhite = 255;
    int outputBlack = 0;
    int outputWhite = 255;
    int gamma = 100;
    bool operator==(const ChannelLevels&) const = default;
};

/// Red, green, blue.
using Levels = std::array<ChannelLevels, 3>;

Levels findLevels(const Frame& input, const Controls& controls);
Frame render(const Frame& input, const Controls& controls);

} // namespace tintwell::reference
