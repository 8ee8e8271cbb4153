#pragma once

#include <cstdint>

namespace tintwell::host {

/// How frames and times of a clip belong together. Times are in units of 1 / timeScale seconds;
/// frame f begins at (f - firstFrame) * timeStep. 29.97 frames per second are a step of 1001 at a
/// scale of 30000.
struct ClipTiming {
    std::int32_t frameCount = 1;  ///< at least 1, and more than firstFrame
    std::int32_t timeStep = 1;    ///< duration of a frame, at least 1
    std::uint32_t timeScale = 25; ///< at least 1
    /// With which the clip begins for the effect, at time 0. Later parts of a clip whose times do
    /// not fit 32 bits are told to it as clips of their own.
    std::int32_t firstFrame = 0;

    /// Throws std::invalid_argument when a field is out of range or the clip's duration does not
    /// fit the 32 bits that the effect interface has for it.
    void check() const;

    /// Start of a frame; the nearest time that 32 bits hold for frames far outside the clip.
    std::int32_t timeOf(std::int32_t frame) const;

    /// The same without that limit.
    std::int64_t startOf(std::int32_t frame) const;

    /// A time given in another scale (at least 1), in this clip's units, rounded down.
    std::int64_t clipTime(std::int32_t time, std::uint32_t scale) const;

    /// The frame count of a clip that is as long as 32 bits can hold.
    std::int32_t longestFrameCount() const;

    /// The frame shown at a time in the clip's units; below firstFrame or at and above frameCount
    /// when the time is outside the clip.
    std::int64_t frameAt(std::int64_t time) const;
};

} // namespace tintwell::host
