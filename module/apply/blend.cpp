#include "module/apply/blend.h"

#include "module/kernels/kernels.h"

#include <algorithm>
#include <cstring>

namespace tintwell {
namespace {

constexpr std::int32_t kOrderArgb = 0;
constexpr std::int32_t kOrderBgra = 1;

bool covers(const InterleavedFrame& frame, const InterleavedFrame& corrected) {
    return frame.width >= corrected.width && frame.height >= corrected.height &&
           frame.bitDepth == corrected.bitDepth;
}

void copyRows(const InterleavedFrame& from, const InterleavedFrame& to, std::int32_t rows,
              std::size_t bytes) {
    for (std::int32_t y = 0; y < rows; ++y) {
        std::memmove(to.row(y), from.row(y), bytes);
    }
}

template <class Sample>
void blendRows(const InterleavedFrame& corrected, const InterleavedFrame& original,
               const InterleavedFrame& destination, kernels::BlendWeights weights) {
    for (std::int32_t y = 0; y < corrected.rows(); ++y) {
        kernels::kernelsFor<Sample>().blend(corrected.row(y), original.row(y), destination.row(y),
                                            corrected.rowPixels(), weights);
    }
}

} // namespace

ErrorCode blendWithOriginal(const InterleavedFrame& corrected, const InterleavedFrame* original,
                            std::int32_t weight, std::int32_t channelOrder,
                            const InterleavedFrame* destination) {
    if (original == nullptr || destination == nullptr || corrected.data == nullptr ||
        original->data == nullptr || destination->data == nullptr ||
        !covers(*original, corrected) || !covers(*destination, corrected)) {
        return error::kMissingRecord;
    }
    if (channelOrder != kOrderArgb && channelOrder != kOrderBgra) {
        return error::kUnsupportedChannelOrder;
    }
    const std::int32_t ofOriginal = std::clamp(weight, 0, kFullBlend);
    if (ofOriginal == 0) {
        copyRows(corrected, *destination, corrected.rows(), corrected.pixelBytes());
    } else if (ofOriginal == kFullBlend) {
        copyRows(*original, *destination, corrected.rows(), corrected.pixelBytes());
    } else {
        const kernels::BlendWeights weights = {static_cast<std::uint32_t>(kFullBlend - ofOriginal),
                                               static_cast<std::uint32_t>(ofOriginal),
                                               channelOrder == kOrderBgra ? 3U : 0U};
        if (corrected.bitDepth == 16) {
            blendRows<std::uint16_t>(corrected, *original, *destination, weights);
        } else {
            blendRows<std::uint8_t>(corrected, *original, *destination, weights);
        }
    }
    return error::kNone;
}

} // namespace tintwell
