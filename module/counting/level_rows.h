#pragma once

#include "module/frame/pixel_view.h"
#include "module/kernels/kernels.h"

#include <algorithm>
#include <array>
#include <vector>

namespace tintwell {

/// Interleaved pixels of four levels each, with a 1 in the place of alpha.
struct CountedPixels {
    const std::uint8_t* pixels;
    bool isAlphaFirst; ///< 1,R,G,B, or else B,G,R,1

    CountedPixels from(std::size_t first) const { return {pixels + 4 * first, isAlphaFirst}; }
};

/// The colour levels of a frame of 8 or 16 bits, a row or a few at a time, whatever its samples and
/// their layout. The frame must outlive it.
class LevelRows {
public:
    explicit LevelRows(const PixelView& pixels);

    /// The levels of a row, channel by channel. Valid until the next call.
    kernels::ColorRow row(std::int32_t y) { return band(y, 1); }

    /// The same of as many rows from y on as one.
    kernels::ColorRow band(std::int32_t y, std::int32_t count);

    /// The pixels of the band that was asked for last, for summing up. Valid until the next one.
    CountedPixels countedPixels();

    std::int32_t rows() const { return pixels_.rows; }

    std::size_t rowPixels() const { return pixels_.rowPixels; }

    /// Where the pixels of the row behind the band that was asked for last lie, or null: it pays
    /// where a band is one row.
    const std::byte* nextRow() const;

    /// For the band that begins with this row, while another one is worked on.
    void prefetch(std::int32_t y) const;

    /// Rows that are worth being worked on together, at least 1: their levels stay in the second
    /// cache, while each channel's counters stay in the first one for a while.
    std::int32_t bandRows() const;

private:
    const std::uint8_t* interleavedLevels(std::int32_t row) const;
    void convertRow(std::int32_t row);
    kernels::ColorRow rowOfPlanes(std::int32_t y);

    PixelView pixels_;
    std::int32_t firstRow_ = 0;
    std::int32_t rowCount_ = 0;
    kernels::ColorRow band_{};
    std::vector<std::uint8_t> converted_; ///< levels of 16-bit samples, in their layout
    std::vector<std::uint8_t> separated_; ///< levels of a band, channel by channel
    std::vector<std::uint8_t> counted_;   ///< the same as pixels
};

/// Calls visit(band, pixels) for all levels, band by band, and before each beginBand(y, rows).
template <class BeginBand, class Visit>
void forEachBand(LevelRows& levels, BeginBand beginBand, Visit visit) {
    const std::int32_t most = levels.bandRows();
    for (std::int32_t y = 0; y < levels.rows();) {
        const std::int32_t rows = std::min(most, levels.rows() - y);
        beginBand(y, rows);
        const kernels::ColorRow band = levels.band(y, rows);
        levels.prefetch(y + rows);
        visit(band, static_cast<std::size_t>(rows) * levels.rowPixels());
        y += rows;
    }
}

template <class Visit>
void forEachBand(LevelRows& levels, Visit visit) {
    forEachBand(
        levels, [](std::int32_t, std::int32_t) {}, visit);
}

} // namespace tintwell
