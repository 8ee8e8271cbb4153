#include "module/temporal/color_signature.h"

#include "module/counting/level_rows.h"
#include "module/frame/pixel_view.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <vector>

namespace tintwell {
namespace {

/// Neighbours mostly fall into one box: they are counted in turn in tables of their own, so that an
/// addition need not wait for the one before.
constexpr std::size_t kTables = 4;
using Tables = std::array<std::array<std::uint32_t, ColorSignature::kBinCount>, kTables>;

void findBoxes(const kernels::ColorRow& row, std::vector<std::uint16_t>& boxes) {
    const auto [red, green, blue] = row;
    std::uint16_t* box = boxes.data();
    for (std::size_t x = 0; x < boxes.size(); ++x) {
        box[x] = static_cast<std::uint16_t>((red[x] >> 5U) << 6U | (green[x] >> 5U) << 3U |
                                            blue[x] >> 5U);
    }
}

void countPixels(LevelRows levels, Tables& tables) {
    std::vector<std::uint16_t> boxes(levels.rowPixels());
    for (std::int32_t y = 0; y < levels.rows(); ++y) {
        findBoxes(levels.row(y), boxes);
        for (std::size_t x = 0; x < boxes.size(); ++x) {
            ++tables[x % kTables][boxes[x]];
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
    Tables tables{};
    countPixels(LevelRows(viewOfPixels(frame, channelOrder)), tables);
    for (const auto& table : tables) {
        std::ranges::transform(table, signature.counts, signature.counts.begin(), std::plus<>());
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
