#pragma once

#include "effect/pixel_view.h"
#include "kernels/kernels.h"

#include <array>
#include <vector>

namespace tintwell {

/// The colour levels of a frame of 8 or 16 bits, row by row, whatever its samples and their layout.
/// The frame must outlive it. Rows are valid until the next call for the same channel.
class LevelRows {
public:
    explicit LevelRows(const PixelView& pixels);

    /// The levels of one channel: 0 red, 1 green, 2 blue.
    const std::uint8_t* channel(std::size_t channel, std::int32_t y);

    kernels::ColorRow row(std::int32_t y) { return {channel(0, y), channel(1, y), channel(2, y)}; }

    std::int32_t rows() const { return pixels_.rows; }

    std::size_t rowPixels() const { return pixels_.rowPixels; }

private:
    bool areLevels() const { return pixels_.bitDepth == 8 && pixels_.pixelStep == 1; }

    PixelView pixels_;
    std::array<std::vector<std::uint8_t>, 3> converted_; ///< empty where samples are levels already
};

} // namespace tintwell
