#pragma once

#include "module/counting/level_counter.h"
#include "module/frame/correction_mode.h"
#include "module/frame/pixel_view.h"
#include "module/kernels/kernels.h"

#include <array>
#include <cstdint>

namespace tintwell {

/// The one measurement of a frame. Array 0 is the sum of the colour arrays, bin by bin, or the
/// luminance; arrays 1, 2 and 3 are red, green and blue. Kept and copied as one block.
struct ChannelHistogram {
    std::array<LevelCounts, 4> channels{};

    bool operator==(const ChannelHistogram&) const = default;
};

static_assert(sizeof(ChannelHistogram) == 4096);

/// Counts every pixel with weight one, whatever its alpha. The monochromatic mode fills array 0
/// with the luminance and nothing else; any other mode fills the colour arrays, and array 0 with
/// their sum when `combine` is set. A frame of another depth than 8 and 16 counts nothing. The
/// counts of a frame are the same whether it is seen as planes or as interleaved pixels.
void gatherHistogram(ChannelHistogram& histogram, const PixelView& pixels, bool combine,
                     AutoCorrectionMode mode);

/// Whether a frame's histogram carries the sum of its colours in this mode.
bool combinesColors(AutoCorrectionMode mode);

/// Whether this frame's histogram in this mode is made of its colours' counts.
bool countsColors(const PixelView& pixels, AutoCorrectionMode mode);

/// Counts the colours of a frame row by row.
class ColorCounter {
public:
    /// `soon` is the memory of as many pixels of `pixelBytes` that come next, or null.
    void add(const kernels::ColorRow& row, std::size_t count, const std::byte* soon,
             std::size_t pixelBytes);

    /// Writes the colour arrays, and with `combine` array 0 as their sum.
    void writeTo(ChannelHistogram& histogram, bool combine) const;

private:
    std::array<LevelCounter, 3> counters_;
};

} // namespace tintwell
