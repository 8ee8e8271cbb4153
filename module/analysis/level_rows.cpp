#include "module/analysis/level_rows.h"

namespace tintwell {

LevelRows::LevelRows(const PixelView& pixels)
    : pixels_(pixels),
      separated_(pixels.isInterleaved()
                     ? pixels.rowPixels * static_cast<std::size_t>(pixels.pixelStep)
                     : 0),
      converted_(pixels.bitDepth == 16 ? pixels.rowPixels * 3 : 0) {}

template <class Sample>
LevelRows::Samples LevelRows::separate(std::int32_t y) {
    Samples channels;
    Sample* const rows = reinterpret_cast<Sample*>(separated_.data());
    Sample* const planes[4] = {rows, rows + rowPixels(), rows + 2 * rowPixels(),
                               rows + 3 * rowPixels()};
    kernels::kernelsFor<Sample>().split(pixels_.data + y * pixels_.rowStep, rowPixels(), planes);
    for (std::size_t c = 0; c < channels.size(); ++c) {
        const auto position = static_cast<std::size_t>(pixels_.channels[c]) / sizeof(Sample);
        channels[c] = reinterpret_cast<const std::byte*>(planes[position]);
    }
    return channels;
}

std::array<const std::uint8_t*, 3> LevelRows::channels(std::int32_t y) {
    const bool deep = pixels_.bitDepth == 16;
    Samples samples = {pixels_.row(0, y), pixels_.row(1, y), pixels_.row(2, y)};
    if (pixels_.isInterleaved()) {
        samples = deep ? separate<std::uint16_t>(y) : separate<std::uint8_t>(y);
    }
    std::array<const std::uint8_t*, 3> levels;
    for (std::size_t c = 0; c < levels.size(); ++c) {
        if (deep) {
            std::uint8_t* converted = converted_.data() + c * rowPixels();
            kernels::kernelsFor<std::uint16_t>().levels(
                reinterpret_cast<const std::uint16_t*>(samples[c]), rowPixels(), converted);
            levels[c] = converted;
        } else {
            levels[c] = reinterpret_cast<const std::uint8_t*>(samples[c]);
        }
    }
    return levels;
}

} // namespace tintwell
