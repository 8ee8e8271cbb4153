#pragma once

#include "module/frame/pixel_view.h"
#include "module/kernels/kernels.h"

#include <array>
#include <vector>

namespace tintwell {

/// The colour levels of a frame of 8 or 16 bits, row by row, whatever its samples and their layout.
/// The frame must outlive it.
class LevelRows {
public:
    explicit LevelRows(const PixelView& pixels);

    /// The levels of red, green and blue. Valid until the next call.
    std::array<const std::uint8_t*, 3> channels(std::int32_t y);

    kernels::ColorRow row(std::int32_t y) {
        const auto [red, green, blue] = channels(y);
        return {red, green, blue};
    }

    std::int32_t rows() const { return pixels_.rows; }

    std::size_t rowPixels() const { return pixels_.rowPixels; }

private:
    using Samples = std::array<const std::byte*, 3>;

    template <class Sample>
    Samples separate(std::int32_t y);

    PixelView pixels_;
    std::vector<std::byte> separated_;    ///< interleaved pixels, channel by channel
    std::vector<std::uint8_t> converted_; ///< levels of 16-bit samples
};

} // namespace tintwell
