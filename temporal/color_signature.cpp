#include "temporal/color_signature.h"

#include "effect/pixel_view.h"
#include "numeric/level_scale.h"

#include <cstdlib>
#include <cstring>
#include <numeric>

namespace tintwell {
namespace {

template <class Sample>
std::size_t boxAt(const std::byte* sample) {
    Sample value;
    std::memcpy(&value, sample, sizeof(value));
    return levelOf(value) >> 5U;
}

template <class Sample>
void countPixels(const PixelView& pixels, ColorSignature& signature) {
    for (std::int32_t y = 0; y < pixels.rows; ++y) {
        for (std::size_t x = 0; x < pixels.rowPixels; ++x) {
            const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(x) * pixels.pixelStep;
            const std::size_t red = boxAt<Sample>(pixels.row(0, y) + offset);
            const std::size_t green = boxAt<Sample>(pixels.row(1, y) + offset);
            const std::size_t blue = boxAt<Sample>(pixels.row(2, y) + offset);
            ++signature.counts[red * 64 + green * 8 + blue];
        }
    }
}

} // namespace

ErrorCode buildSignature(const InterleavedFrame& frame, std::int32_t channelOrder,
                         ColorSignature& signature) {
    signature = ColorSignature{};
    if (channelOrder != 0 && channelOrder != 1) {
        return error::kUnsupportedChannelOrder;
    }
    if (frame.bitDepth != 8 && frame.bitDepth != 16) {
        return error::kUnsupportedBitDepth;
    }
    const PixelView pixels = viewOfPixels(frame, channelOrder);
    if (frame.bitDepth == 16) {
        countPixels<std::uint16_t>(pixels, signature);
    } else {
        countPixels<std::uint8_t>(pixels, signature);
    }
    return error::kNone;
}

double signatureDifference(const ColorSignature& a, const ColorSignature& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < ColorSignature::kBinCount; ++i) {
        const auto difference = static_cast<std::int32_t>(a.counts[i] - b.counts[i]);
        sum += std::abs(static_cast<double>(difference));
    }
    return sum;
}

std::uint32_t signatureTotal(const ColorSignature& signature) {
    return std::accumulate(signature.counts.begin(), signature.counts.end(), std::uint32_t{0});
}

} // namespace tintwell
