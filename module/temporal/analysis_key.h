#pragma once

#include "module/analysis/correction_mode.h"
#include "module/frame/interleaved_frame.h"

#include <cstdint>

namespace tintwell {

/// Stands for all that a frame's analysis reads of it: the pixels (not the padding of its rows),
/// their layout, and the mode of the analysis. Hosts change frames without telling, and their
/// buffers move; so what was found of a frame is used again only where the keys are the same.
///
/// Different keys mean that something differs. Equal keys do not prove that nothing does: a key is
/// a hash of 128 bits, and of a row it takes 64 bits from each of four lanes. As far as its
/// products behave like random functions, which is not proven, two frames that differ share a key
/// with a probability below 2^-50 where they differ in one row and there in one lane only, and
/// below 2^-90 otherwise. It holds for pictures, not against someone who makes pixels to share a
/// key: then what was found of one of the frames is used for the other.
class AnalysisKey {
public:
    /// No frame's key.
    AnalysisKey() = default;
    /// Reads the whole frame, which must have pixels unless it is empty.
    AnalysisKey(const InterleavedFrame& frame, std::int32_t channelOrder, AutoCorrectionMode mode);

    bool operator==(const AnalysisKey&) const = default;

private:
    std::uint64_t first_ = 0;
    std::uint64_t second_ = 0; ///< odd in every frame's key
};

} // namespace tintwell
