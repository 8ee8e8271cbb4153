#pragma once

#include "host/frame_buffer.h"
#include "inspect/frame_findings.h"

#include <array>
#include <cstdint>
#include <string>

namespace tintwell::inspect {

/// What a correction does to the average pixel, in levels of 255.
struct ColorChange {
    std::array<double, 3> shift{}; ///< mean change of red, green and blue
    double strength = 0.0;         ///< mean of the changes' sizes
};

/// A colour cast: what the channels were shifted against each other, the other way round.
struct ColorCast {
    double size = 0.0; ///< levels between the channel with most of it and the one with least
    std::string name;  ///< of its hue, for example "orange (warm)"; empty where it is not seen
};

ColorCast removedCast(const ColorChange& change);

/// "takes out a yellow (warm) cast of 12.3 levels", or that there was none.
std::string castSentence(const ColorChange& change);

/// Mean changes of many frames.
class ChangeMeter {
public:
    /// The change that the smoothed levels make to the frame's pixels, before blending.
    void add(const FrameFindings& findings);

    /// The change between two frames of one size and depth, looked at in a grid of pixels: so few
    /// that it costs next to nothing.
    void addSampled(const host::FrameBuffer& before, const host::FrameBuffer& after);

    ColorChange change() const;

private:
    void addFrame(const std::array<double, 3>& shift, double strength);

    ColorChange sums_;
    std::int64_t frames_ = 0;
};

} // namespace tintwell::inspect
