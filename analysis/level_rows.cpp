#include "analysis/level_rows.h"

namespace tintwell {

LevelRows::LevelRows(const PixelView& pixels) : pixels_(pixels) {
    for (auto& row : converted_) {
        row.resize(areLevels() ? 0 : pixels.rowPixels);
    }
}

const std::uint8_t* LevelRows::channel(std::size_t channel, std::int32_t y) {
    const std::byte* samples = pixels_.row(channel, y);
    if (areLevels()) {
        return reinterpret_cast<const std::uint8_t*>(samples);
    }
    std::uint8_t* levels = converted_[channel].data();
    const auto convert = pixels_.bitDepth == 8 ? kernels::kernelsFor<std::uint8_t>().levels
                                               : kernels::kernelsFor<std::uint16_t>().levels;
    convert(samples, pixels_.pixelStep, pixels_.rowPixels, levels);
    return levels;
}

} // namespace tintwell
