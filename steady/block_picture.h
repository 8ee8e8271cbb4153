#pragma once

#include "module/frame/pixel_view.h"

#include <array>
#include <cstddef>

namespace tintwell::steady {

/// A frame in small: the mean levels of its blocks, a grid of the same size whatever the frame's.
struct BlockPicture {
    static constexpr std::size_t kColumns = 64;
    static constexpr std::size_t kRows = 36;
    static constexpr std::size_t kBlocks = kColumns * kRows;

    using Plane = std::array<float, kBlocks>; ///< row by row

    std::array<Plane, 3> means{}; ///< red, green, blue, 0..255
    /// Shares of samples at the ends of the scale: light beyond these does not show in them.
    std::array<Plane, 3> clipped{};
};

/// Looks at no more than 12 by 12 pixels of each block, evenly spread. A frame that has fewer
/// pixels than the grid has blocks repeats them. All black for an empty frame.
BlockPicture blockPicture(const PixelView& pixels);

} // namespace tintwell::steady
