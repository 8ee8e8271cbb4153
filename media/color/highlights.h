#pragma once

#include "host/frame_buffer.h"

#include <cstdint>
#include <vector>

namespace tintwell::media {

/// What a correction for ordinary pictures is given of one of high dynamic range: the signal up to
/// reference white, stretched to the whole range, all that is brighter being white. Worlds of 16
/// bits; nothing is done to alpha. May be used by several threads.
class Highlights {
public:
    /// The signal of reference white, above 0 and at most 1.
    explicit Highlights(double referenceWhite);

    void stretch(host::FrameBuffer& world) const;

    /// Turns `corrected`, which the correction made of `stretched`, back into a signal. `whole` is
    /// what `stretched` was before. What is at reference white or above is as it was. Below it the
    /// correction is held back so that nothing gets brighter than the brightest sample of `whole`,
    /// and so that tones stay in order and run into the highlights without a step.
    void restore(const host::FrameBuffer& whole, const host::FrameBuffer& stretched,
                 host::FrameBuffer& corrected) const;

private:
    double referenceWhite_;
    std::uint16_t whiteLevel_; ///< of reference white, in the world
    std::vector<std::uint16_t> stretched_;
};

} // namespace tintwell::media
