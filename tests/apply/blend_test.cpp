#include "apply/blend.h"

#include <gtest/gtest.h>

#include <vector>

namespace tintwell {
namespace {

template <class Sample>
struct Frame {
    std::vector<Sample> samples;

    InterleavedFrame view() {
        return {reinterpret_cast<std::byte*>(samples.data()),
                static_cast<std::ptrdiff_t>(samples.size() * sizeof(Sample)),
                static_cast<std::int32_t>(samples.size() / 4), 1, sizeof(Sample) * 8};
    }
};

template <class Sample>
std::vector<Sample> blended(std::vector<Sample> corrected, std::vector<Sample> original,
                            std::int32_t weight, std::int32_t channelOrder = 0) {
    Frame<Sample> from{std::move(corrected)};
    Frame<Sample> other{std::move(original)};
    const InterleavedFrame destination = from.view();
    const InterleavedFrame originalView = other.view();
    EXPECT_EQ(blendWithOriginal(destination, &originalView, weight, channelOrder, &destination), 0);
    return from.samples;
}

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;

TEST(Blend, MixesColourByAlphaInPlace) {
    struct Case {
        const char* what;
        Bytes corrected, original;
        std::int32_t weight;
        Bytes expected;
    };

    const Case cases[] = {
        {"opaque halves round up", {255, 10, 20, 31}, {255, 21, 20, 30}, 0x8000, {255, 16, 20, 31}},
        {"none of the original", {9, 1, 2, 3}, {8, 4, 5, 6}, 0, {9, 1, 2, 3}},
        {"negative counts as none", {9, 1, 2, 3}, {8, 4, 5, 6}, -5, {9, 1, 2, 3}},
        {"all of the original", {9, 1, 2, 3}, {8, 4, 5, 6}, 0x10000, {8, 4, 5, 6}},
        {"more than all", {9, 1, 2, 3}, {8, 4, 5, 6}, 0x7fffffff, {8, 4, 5, 6}},
        {"transparent corrected", {0, 1, 2, 3}, {255, 4, 5, 6}, 0x4000, {64, 4, 5, 6}},
        {"transparent original", {255, 1, 2, 3}, {0, 4, 5, 6}, 0x4000, {191, 1, 2, 3}},
        {"both transparent", {0, 1, 2, 3}, {0, 4, 5, 6}, 0x4000, {0, 4, 5, 6}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(blended(c.corrected, c.original, c.weight), c.expected) << c.what;
    }
    EXPECT_EQ(blended<std::uint8_t>({10, 20, 31, 255}, {21, 20, 30, 255}, 0x8000, 1),
              (Bytes{16, 20, 31, 255}))
        << "alpha last";
    // (1 * 32768 + 101 * 16384) / 49152 by alpha, at equal weights
    EXPECT_EQ(blended<std::uint16_t>({32768, 1, 0, 32768}, {16384, 101, 0, 32768}, 0x8000),
              (Words{24576, 34, 0, 32768}));
}

TEST(Blend, RefusesWhatItCannotMix) {
    Frame<std::uint8_t> small{Bytes(8)};
    Frame<std::uint8_t> large{Bytes(12)};
    Frame<std::uint16_t> deep{Words(12)};
    const InterleavedFrame smallView = small.view();
    const InterleavedFrame largeView = large.view();
    const InterleavedFrame deepView = deep.view();
    InterleavedFrame noData = large.view();
    noData.data = nullptr;
    EXPECT_EQ(blendWithOriginal(largeView, nullptr, 1, 0, &largeView), 512);
    EXPECT_EQ(blendWithOriginal(largeView, &largeView, 1, 0, nullptr), 512);
    EXPECT_EQ(blendWithOriginal(largeView, &smallView, 1, 0, &largeView), 512);
    EXPECT_EQ(blendWithOriginal(largeView, &largeView, 1, 0, &smallView), 512);
    EXPECT_EQ(blendWithOriginal(largeView, &deepView, 1, 0, &largeView), 512);
    EXPECT_EQ(blendWithOriginal(largeView, &noData, 0, 0, &largeView), 512);
    EXPECT_EQ(blendWithOriginal(smallView, &largeView, 1, 2, &smallView), 10002);
    EXPECT_EQ(blendWithOriginal(smallView, &largeView, 1, 0, &smallView), 0);
}

} // namespace
} // namespace tintwell
