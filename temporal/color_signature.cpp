#include "temporal/color_signature.h"

#include "numeric/level_scale.h"

#include <cstdlib>
#include <cstring>
#include <numeric>

namespace tintwell {
namespace {

/// Where red, green and blue stand in a pixel.
struct ColorPositions {
    std::size_t red;
    std::size_t green;
    std::size_t blue;
};

template <class Sample>
void countRow(const std::byte* row, std::size_t pixels, const ColorPositions& at,
              ColorSignature& signature) {
    for (std::size_t x = 0; x < pixels; ++x) {
        std::array<Sample, 4> pixel{};
        std::memcpy(pixel.data(), row + x * sizeof(pixel), sizeof(pixel));
        const std::size_t red = levelOf(pixel[at.red]) >> 5U;
        const std::size_t green = levelOf(pixel[at.green]) >> 5U;
        const std::size_t blue = levelOf(pixel[at.blue]) >> 5U;
        ++signature.counts[red * 64 + green * 8 + blue];
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
    const ColorPositions at = channelOrder == 0 ? ColorPositions{1, 2, 3} : ColorPositions{2, 1, 0};
    for (std::int32_t y = 0; y < frame.rows(); ++y) {
        if (frame.bitDepth == 16) {
            countRow<std::uint16_t>(frame.row(y), frame.rowPixels(), at, signature);
        } else {
            countRow<std::uint8_t>(frame.row(y), frame.rowPixels(), at, signature);
        }
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
