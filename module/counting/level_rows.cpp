#include "module/counting/level_rows.h"

#include "module/kernels/prefetch.h"

namespace tintwell {

LevelRows::LevelRows(const PixelView& pixels) : pixels_(pixels) {}

std::int32_t LevelRows::bandRows() const {
    constexpr std::size_t kBandPixels = 2048;
    if (!pixels_.isInterleaved()) {
        return 1;
    }
    return static_cast<std::int32_t>(std::clamp<std::size_t>(
        kBandPixels / std::max<std::size_t>(rowPixels(), 1), 1, kBandPixels));
}

/// A row of the band; the samples themselves where they are levels.
const std::uint8_t* LevelRows::interleavedLevels(std::int32_t row) const {
    if (pixels_.bitDepth == 16) {
        return converted_.data() + static_cast<std::size_t>(row) * 4 * rowPixels();
    }
    return reinterpret_cast<const std::uint8_t*>(pixels_.pixel(firstRow_ + row, 0));
}

void LevelRows::convertRow(std::int32_t row) {
    const std::byte* samples = pixels_.pixel(firstRow_ + row, 0);
    kernels::kernelsFor<std::uint16_t>().levels(samples, 4 * rowPixels(),
                                                converted_.data() + static_cast<std::size_t>(row) *
                                                                        4 * rowPixels());
}

kernels::ColorRow LevelRows::rowOfPlanes(std::int32_t y) {
    std::array<const std::uint8_t*, 3> channels;
    for (std::size_t c = 0; c < channels.size(); ++c) {
        channels[c] = reinterpret_cast<const std::uint8_t*>(pixels_.row(c, y));
        if (pixels_.bitDepth == 16) {
            std::uint8_t* const levels = converted_.data() + c * rowPixels();
            kernels::kernelsFor<std::uint16_t>().levels(pixels_.row(c, y), rowPixels(), levels);
            channels[c] = levels;
        }
    }
    return {channels[0], channels[1], channels[2]};
}

kernels::ColorRow LevelRows::band(std::int32_t y, std::int32_t count) {
    firstRow_ = y;
    rowCount_ = count;
    const std::size_t bandPixels = static_cast<std::size_t>(count) * rowPixels();
    if (pixels_.bitDepth == 16) {
        converted_.resize(std::max(converted_.size(), 4 * bandPixels));
    }
    if (!pixels_.isInterleaved()) {
        return band_ = rowOfPlanes(y);
    }
    separated_.resize(std::max(separated_.size(), 4 * bandPixels));
    std::array<std::uint8_t*, 4> planes;
    for (std::size_t k = 0; k < planes.size(); ++k) {
        planes[k] = separated_.data() + k * bandPixels;
    }
    const auto planeOf = [&](std::size_t channel) {
        return planes[static_cast<std::size_t>(pixels_.channels[channel] /
                                               sampleBytes(pixels_.bitDepth))];
    };
    band_ = {planeOf(0), planeOf(1), planeOf(2)};
    for (std::int32_t row = 0; row < count; ++row) {
        if (pixels_.bitDepth == 16) {
            convertRow(row);
        }
        kernels::kernelsFor<std::uint8_t>().split(
            reinterpret_cast<const std::byte*>(interleavedLevels(row)), rowPixels(), planes.data());
        for (std::uint8_t*& plane : planes) {
            plane += rowPixels();
        }
    }
    return band_;
}

CountedPixels LevelRows::countedPixels() {
    const std::size_t rowBytes = 4 * rowPixels();
    counted_.resize(std::max(counted_.size(), static_cast<std::size_t>(rowCount_) * rowBytes));
    if (!pixels_.isInterleaved()) {
        const std::vector<std::uint8_t> ones(rowPixels(), 1);
        const std::uint8_t* const planes[4] = {ones.data(), band_.red, band_.green, band_.blue};
        kernels::kernelsFor<std::uint8_t>().merge(planes, rowPixels(),
                                                  reinterpret_cast<std::byte*>(counted_.data()));
        return {counted_.data(), true};
    }
    const bool isAlphaFirst = pixels_.channels[0] < pixels_.channels[2];
    for (std::int32_t row = 0; row < rowCount_; ++row) {
        kernels::levelKernels().makeCounted(
            interleavedLevels(row), isAlphaFirst ? 0 : 3, rowPixels(),
            counted_.data() + static_cast<std::size_t>(row) * rowBytes);
    }
    return {counted_.data(), isAlphaFirst};
}

const std::byte* LevelRows::nextRow() const {
    const std::int32_t y = firstRow_ + rowCount_;
    const bool exists = y < rows() && pixels_.isInterleaved() && bandRows() == 1;
    return exists ? pixels_.pixel(y, 0) : nullptr;
}

void LevelRows::prefetch(std::int32_t y) const {
    const std::int32_t end = y + std::min(bandRows(), rows() - y);
    for (; y < end && pixels_.isInterleaved(); ++y) {
        kernels::prefetchPages(pixels_.pixel(y, 0),
                               rowPixels() * static_cast<std::size_t>(pixels_.pixelStep));
    }
}

} // namespace tintwell
