#include "steady/block_picture.h"

#include <algorithm>
#include <cstring>

namespace tintwell::steady {
namespace {

constexpr std::size_t kSamplesAcross = 12;

template <class Sample>
constexpr float kTop = sizeof(Sample) == 2 ? 32768.0F : 255.0F;

/// The pixels of a row or column of the frame that one block takes its samples from.
struct Stretch {
    std::size_t begin;
    std::size_t end;
    std::size_t step;

    Stretch(std::size_t block, std::size_t blocks, std::size_t pixels)
        : begin(block * pixels / blocks), end(std::max((block + 1) * pixels / blocks, begin + 1)),
          step((end - begin + kSamplesAcross - 1) / kSamplesAcross) {}

    std::size_t count() const { return (end - begin + step - 1) / step; }
};

template <class Sample>
void addRow(const PixelView& pixels, std::size_t channel, std::size_t y, BlockPicture& picture,
            std::size_t blockRow) {
    const std::byte* row = pixels.row(channel, static_cast<std::int32_t>(y));
    for (std::size_t column = 0; column < BlockPicture::kColumns; ++column) {
        const Stretch stretch(column, BlockPicture::kColumns, pixels.rowPixels);
        float sum = 0.0F;
        int clipped = 0;
        for (std::size_t x = stretch.begin; x < stretch.end; x += stretch.step) {
            Sample sample;
            std::memcpy(&sample, row + static_cast<std::ptrdiff_t>(x) * pixels.pixelStep,
                        sizeof sample);
            sum += static_cast<float>(sample);
            clipped += sample == 0 || static_cast<float>(sample) >= kTop<Sample> ? 1 : 0;
        }
        const std::size_t block = blockRow * BlockPicture::kColumns + column;
        picture.means[channel][block] += sum;
        picture.clipped[channel][block] += static_cast<float>(clipped);
    }
}

template <class Sample>
BlockPicture pictureOf(const PixelView& pixels) {
    BlockPicture picture;
    for (std::size_t blockRow = 0; blockRow < BlockPicture::kRows; ++blockRow) {
        const Stretch rows(blockRow, BlockPicture::kRows, static_cast<std::size_t>(pixels.rows));
        for (std::size_t channel = 0; channel < picture.means.size(); ++channel) {
            for (std::size_t y = rows.begin; y < rows.end; y += rows.step) {
                addRow<Sample>(pixels, channel, y, picture, blockRow);
            }
            for (std::size_t column = 0; column < BlockPicture::kColumns; ++column) {
                const Stretch columns(column, BlockPicture::kColumns, pixels.rowPixels);
                const auto samples = static_cast<float>(rows.count() * columns.count());
                const std::size_t block = blockRow * BlockPicture::kColumns + column;
                picture.means[channel][block] *= 255.0F / (kTop<Sample> * samples);
                picture.clipped[channel][block] /= samples;
            }
        }
    }
    return picture;
}

} // namespace

BlockPicture blockPicture(const PixelView& pixels) {
    if (pixels.rows <= 0 || pixels.rowPixels == 0) {
        return {};
    }
    return pixels.bitDepth == 16 ? pictureOf<std::uint16_t>(pixels)
                                 : pictureOf<std::uint8_t>(pixels);
}

} // namespace tintwell::steady
