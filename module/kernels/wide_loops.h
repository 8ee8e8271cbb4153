#pragma once

// The loops over blocks of pixels that the vector variants share. A variant gives its vectors as a
// struct V of functions, which must have internal linkage as everything here has (see loops.h):
//
//   kBytes, kLaneBits               size of a vector; bits that stand for one of its bytes
//   load, store                     a vector of samples at any alignment
//   loadPixels, storePixels         as many pixels as fill four vectors `val`, one per channel
//   haveSameAlpha                   in all pixels of two vectors the same alpha, and nowhere 0
//   mix                             blendOfSameAlpha of two vectors
//   atMost, atLeast, equal          which bytes of a block compare so with one, as a mask
//   lanesOf                         the mask's bytes, the lowest bit of each as Lanes
//   sumOf                           the sum of a vector's bytes under a mask
//   addPixel                        adds four bytes to four sums

#include "module/kernels/loops.h"

namespace tintwell::kernels {
namespace {

/// Pixels whose samples of one channel fill a vector.
template <class V, class Sample>
constexpr std::size_t kBlock = V::kBytes / sizeof(Sample);

/// For vector loads and stores, which take any alignment; never used otherwise.
template <class Sample>
const Sample* samplesAt(const std::byte* bytes) {
    return reinterpret_cast<const Sample*>(bytes);
}

template <class Sample>
Sample* samplesAt(std::byte* bytes) {
    return reinterpret_cast<Sample*>(bytes);
}

template <class V, class Sample>
void splitWide(const std::byte* pixels, std::size_t count, Sample* const planes[4]) {
    std::size_t done = 0;
    for (; done + kBlock<V, Sample> <= count; done += kBlock<V, Sample>) {
        const auto channels = V::loadPixels(samplesAt<Sample>(pixels + done * 4 * sizeof(Sample)));
        for (std::size_t k = 0; k < 4; ++k) {
            V::store(planes[k] + done, channels.val[k]);
        }
    }
    Sample* const rest[4] = {planes[0] + done, planes[1] + done, planes[2] + done,
                             planes[3] + done};
    split<Sample>(pixels + done * 4 * sizeof(Sample), count - done, rest);
}

template <class V, class Sample>
void mergeWide(const Sample* const planes[4], std::size_t count, std::byte* pixels) {
    std::size_t done = 0;
    for (; done + kBlock<V, Sample> <= count; done += kBlock<V, Sample>) {
        V::storePixels(samplesAt<Sample>(pixels + done * 4 * sizeof(Sample)),
                       {{V::load(planes[0] + done), V::load(planes[1] + done),
                         V::load(planes[2] + done), V::load(planes[3] + done)}});
    }
    const Sample* const rest[4] = {planes[0] + done, planes[1] + done, planes[2] + done,
                                   planes[3] + done};
    merge<Sample>(rest, count - done, pixels + done * 4 * sizeof(Sample));
}

template <class V, class Sample>
void blendWide(const std::byte* corrected, const std::byte* original, std::byte* destination,
               std::size_t count, BlendWeights weights) {
    constexpr std::size_t kPixels = kBlock<V, Sample> / 4;
    std::size_t done = 0;
    for (; done + kPixels <= count; done += kPixels) {
        const std::size_t offset = done * 4 * sizeof(Sample);
        const auto from = V::load(samplesAt<Sample>(corrected + offset));
        const auto with = V::load(samplesAt<Sample>(original + offset));
        if (V::haveSameAlpha(from, with, weights.alphaIndex, Sample{})) {
            V::store(samplesAt<Sample>(destination + offset),
                     V::mix(from, with, weights, Sample{}));
        } else {
            blend<Sample>(corrected + offset, original + offset, destination + offset, kPixels,
                          weights);
        }
    }
    const std::size_t offset = done * 4 * sizeof(Sample);
    blend<Sample>(corrected + offset, original + offset, destination + offset, count - done,
                  weights);
}

/// Pixels of a block, one bit each.
using Lanes = std::uint64_t;

template <class V>
std::size_t firstOf(Lanes lanes) {
    return static_cast<std::size_t>(__builtin_ctzll(lanes)) / V::kLaneBits;
}

inline std::uint32_t sizeOf(Lanes lanes) {
    return static_cast<std::uint32_t>(__builtin_popcountll(lanes));
}

/// Counts the chosen indices of a block. Where one has most of them, as in flat parts, it is
/// counted at once. Pixels of one index are chosen together or not at all.
template <class V>
void countBlock(const std::uint8_t* indices, Lanes chosen, std::uint32_t* counts) {
    while (chosen != 0) {
        const std::uint8_t index = indices[firstOf<V>(chosen)];
        const Lanes same = V::lanesOf(V::equal(indices, index));
        if (2 * sizeOf(same) <= sizeOf(chosen)) {
            break;
        }
        counts[index] += sizeOf(same);
        chosen &= ~same;
    }
    for (; chosen != 0; chosen &= chosen - 1) {
        ++counts[indices[firstOf<V>(chosen)]];
    }
}

template <class V>
void countLowestWide(const std::uint8_t* indices, std::uint8_t highest, std::size_t count,
                     std::uint32_t* counts) {
    std::size_t done = 0;
    for (; done + V::kBytes <= count; done += V::kBytes) {
        countBlock<V>(indices + done, V::lanesOf(V::atMost(indices + done, highest)), counts);
    }
    countLowest(indices + done, highest, count - done, counts);
}

/// The chosen pixels of a block one by one, each with a single addition of four sums, in turn in
/// both tables.
template <class V>
void addSingleTones(const std::uint8_t* indices, Lanes chosen, const std::uint8_t* countedPixels,
                    ToneSums* sums) {
    for (std::size_t table = 0; chosen != 0; chosen &= chosen - 1, table ^= kToneIndices) {
        const std::size_t i = firstOf<V>(chosen);
        V::addPixel(sums[table + indices[i]], countedPixels + 4 * i);
    }
}

/// Where one index has most of the pixels, as in flat parts, they are added at once.
template <class V>
void addTonesOfBlock(const std::uint8_t* indices, Lanes chosen, const std::uint8_t* countedPixels,
                     ToneSums* sums) {
    while (chosen != 0) {
        const std::uint8_t index = indices[firstOf<V>(chosen)];
        const auto mask = V::equal(indices, index);
        const Lanes same = V::lanesOf(mask);
        if (2 * sizeOf(same) <= sizeOf(chosen)) {
            addSingleTones<V>(indices, chosen, countedPixels, sums);
            return;
        }
        const auto channels = V::loadPixels(countedPixels);
        for (std::size_t k = 0; k < 4; ++k) {
            sums[index].samples[k] += V::sumOf(channels.val[k], mask);
        }
        chosen &= ~same;
    }
}

template <class V>
void addTonesWide(const std::uint8_t* indices, std::uint8_t lowest,
                  const std::uint8_t* countedPixels, std::size_t count, ToneSums* sums) {
    std::size_t done = 0;
    for (; done + V::kBytes <= count; done += V::kBytes) {
        addTonesOfBlock<V>(indices + done, V::lanesOf(V::atLeast(indices + done, lowest)),
                           countedPixels + 4 * done, sums);
    }
    addTones(indices + done, lowest, countedPixels + 4 * done, count - done, sums);
}

} // namespace
} // namespace tintwell::kernels
