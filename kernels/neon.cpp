#include "kernels/loops.h"
#include "kernels/variant_sources.h"

#include <arm_neon.h>

namespace tintwell::kernels {
namespace {

/// The structure loads and stores of one type of sample, and the pixels they take.
uint8x16x4_t loadPixels(const std::uint8_t* from) {
    return vld4q_u8(from);
}

uint16x8x4_t loadPixels(const std::uint16_t* from) {
    return vld4q_u16(from);
}

void storePixels(std::uint8_t* to, const uint8x16x4_t& pixels) {
    vst4q_u8(to, pixels);
}

void storePixels(std::uint16_t* to, const uint16x8x4_t& pixels) {
    vst4q_u16(to, pixels);
}

uint8x16_t load(const std::uint8_t* from) {
    return vld1q_u8(from);
}

uint16x8_t load(const std::uint16_t* from) {
    return vld1q_u16(from);
}

void store(std::uint8_t* to, uint8x16_t samples) {
    vst1q_u8(to, samples);
}

void store(std::uint16_t* to, uint16x8_t samples) {
    vst1q_u16(to, samples);
}

template <class Sample>
constexpr std::size_t kBlock = 16 / sizeof(Sample);

/// The instructions take any alignment; what points to samples that have none is never used
/// otherwise.
template <class Sample>
const Sample* samplesAt(const std::byte* bytes) {
    return reinterpret_cast<const Sample*>(bytes);
}

template <class Sample>
Sample* samplesAt(std::byte* bytes) {
    return reinterpret_cast<Sample*>(bytes);
}

template <class Sample>
void splitWide(const std::byte* pixels, std::size_t count, Sample* const planes[4]) {
    std::size_t done = 0;
    for (; done + kBlock<Sample> <= count; done += kBlock<Sample>) {
        const auto v = loadPixels(samplesAt<Sample>(pixels + done * 4 * sizeof(Sample)));
        for (std::size_t k = 0; k < 4; ++k) {
            store(planes[k] + done, v.val[k]);
        }
    }
    Sample* const rest[4] = {planes[0] + done, planes[1] + done, planes[2] + done,
                             planes[3] + done};
    split<Sample>(pixels + done * 4 * sizeof(Sample), count - done, rest);
}

template <class Sample>
void mergeWide(const Sample* const planes[4], std::size_t count, std::byte* pixels) {
    std::size_t done = 0;
    for (; done + kBlock<Sample> <= count; done += kBlock<Sample>) {
        storePixels(samplesAt<Sample>(pixels + done * 4 * sizeof(Sample)),
                    {{load(planes[0] + done), load(planes[1] + done), load(planes[2] + done),
                      load(planes[3] + done)}});
    }
    const Sample* const rest[4] = {planes[0] + done, planes[1] + done, planes[2] + done,
                                   planes[3] + done};
    merge<Sample>(rest, count - done, pixels + done * 4 * sizeof(Sample));
}

/// The low bytes of the rounded 255/32768 of each sample.
uint8x8_t levelsOf(uint16x8_t samples) {
    const uint16x4_t low = vrshrn_n_u32(vmull_n_u16(vget_low_u16(samples), 255), 15);
    const uint16x4_t high = vrshrn_n_u32(vmull_n_u16(vget_high_u16(samples), 255), 15);
    return vmovn_u16(vcombine_u16(low, high));
}

void levelsOfWords(const std::uint16_t* samples, std::size_t count, std::uint8_t* levels8) {
    std::size_t done = 0;
    for (; done + 8 <= count; done += 8) {
        vst1_u8(levels8 + done, levelsOf(load(samples + done)));
    }
    levels(samples + done, count - done, levels8 + done);
}

void lookUpBytes(const std::uint8_t* samples, std::size_t count, const std::uint8_t* table,
                 std::uint8_t* results) {
    const uint8x16x4_t table0 = vld1q_u8_x4(table);
    const uint8x16x4_t table1 = vld1q_u8_x4(table + 64);
    const uint8x16x4_t table2 = vld1q_u8_x4(table + 128);
    const uint8x16x4_t table3 = vld1q_u8_x4(table + 192);
    const uint8x16_t part = vdupq_n_u8(64);
    std::size_t done = 0;
    for (; done + 16 <= count; done += 16) {
        // Indices beyond a table leave what the others found.
        uint8x16_t index = load(samples + done);
        uint8x16_t found = vqtbl4q_u8(table0, index);
        index = vsubq_u8(index, part);
        found = vqtbx4q_u8(found, table1, index);
        index = vsubq_u8(index, part);
        found = vqtbx4q_u8(found, table2, index);
        index = vsubq_u8(index, part);
        store(results + done, vqtbx4q_u8(found, table3, index));
    }
    lookUp(samples + done, count - done, table, results + done);
}

uint16x4_t mix(uint16x4_t corrected, uint16x4_t original, BlendWeights weights) {
    const uint32x4_t ofCorrected =
        vmull_n_u16(corrected, static_cast<std::uint16_t>(weights.corrected));
    const uint32x4_t sum =
        vmlal_n_u16(ofCorrected, original, static_cast<std::uint16_t>(weights.original));
    return vrshrn_n_u32(sum, 16);
}

uint16x8_t mix(uint16x8_t corrected, uint16x8_t original, BlendWeights weights) {
    return vcombine_u16(mix(vget_low_u16(corrected), vget_low_u16(original), weights),
                        mix(vget_high_u16(corrected), vget_high_u16(original), weights));
}

uint8x16_t mix(uint8x16_t corrected, uint8x16_t original, BlendWeights weights) {
    const uint16x8_t low =
        mix(vmovl_u8(vget_low_u8(corrected)), vmovl_u8(vget_low_u8(original)), weights);
    const uint16x8_t high = mix(vmovl_high_u8(corrected), vmovl_high_u8(original), weights);
    return vcombine_u8(vmovn_u16(low), vmovn_u16(high));
}

/// Whether all of the alpha is the same in both and none of it is 0.
bool haveSameAlpha(uint8x16_t corrected, uint8x16_t original, std::uint32_t index) {
    const uint32x4_t alpha = vdupq_n_u32(0xFFU << (index * 8));
    const uint8x16_t good = vandq_u8(vceqq_u8(corrected, original), vtstq_u8(corrected, corrected));
    return vminvq_u32(vornq_u32(vreinterpretq_u32_u8(good), alpha)) == 0xFFFFFFFFU;
}

bool haveSameAlpha(uint16x8_t corrected, uint16x8_t original, std::uint32_t index) {
    const uint64x2_t alpha = vdupq_n_u64(std::uint64_t{0xFFFF} << (index * 16));
    const uint16x8_t good =
        vandq_u16(vceqq_u16(corrected, original), vtstq_u16(corrected, corrected));
    return vminvq_u32(vreinterpretq_u32_u64(vornq_u64(vreinterpretq_u64_u16(good), alpha))) ==
           0xFFFFFFFFU;
}

template <class Sample>
void blendWide(const std::byte* corrected, const std::byte* original, std::byte* destination,
               std::size_t count, BlendWeights weights) {
    constexpr std::size_t kPixels = kBlock<Sample> / 4;
    std::size_t done = 0;
    for (; done + kPixels <= count; done += kPixels) {
        const std::size_t offset = done * 4 * sizeof(Sample);
        const auto from = load(samplesAt<Sample>(corrected + offset));
        const auto with = load(samplesAt<Sample>(original + offset));
        if (haveSameAlpha(from, with, weights.alphaIndex)) {
            store(samplesAt<Sample>(destination + offset), mix(from, with, weights));
        } else {
            blend<Sample>(corrected + offset, original + offset, destination + offset, kPixels,
                          weights);
        }
    }
    const std::size_t offset = done * 4 * sizeof(Sample);
    blend<Sample>(corrected + offset, original + offset, destination + offset, count - done,
                  weights);
}

/// Four bits for each lane of a mask.
std::uint64_t bitsOf(uint8x16_t mask) {
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(mask), 4)), 0);
}

std::size_t firstLane(std::uint64_t bits) {
    return static_cast<std::size_t>(__builtin_ctzll(bits)) / 4;
}

/// The chosen pixels of a block whose index is that of the first of them.
uint8x16_t sameAsFirst(const std::uint8_t* indices, uint8x16_t chosen) {
    const std::uint8_t first = indices[firstLane(bitsOf(chosen))];
    return vandq_u8(vceqq_u8(load(indices), vdupq_n_u8(first)), chosen);
}

std::uint32_t lanesOf(uint8x16_t mask) {
    return vaddvq_u8(vandq_u8(mask, vdupq_n_u8(1)));
}

/// Whether the pixels of a block that share an index are most of the chosen ones, as in flat parts.
bool areMost(uint8x16_t same, uint8x16_t chosen) {
    return 2 * lanesOf(same) > lanesOf(chosen);
}

std::uint64_t withoutLane(std::uint64_t bits, std::size_t lane) {
    return bits & ~(std::uint64_t{15} << (lane * 4));
}

void countBlock(const std::uint8_t* indices, uint8x16_t chosen, std::uint32_t* counts) {
    std::uint64_t left = bitsOf(chosen);
    while (left != 0) {
        const uint8x16_t same = sameAsFirst(indices, chosen);
        if (!areMost(same, chosen)) {
            break;
        }
        counts[indices[firstLane(left)]] += lanesOf(same);
        chosen = vbicq_u8(chosen, same);
        left = bitsOf(chosen);
    }
    for (; left != 0; left = withoutLane(left, firstLane(left))) {
        ++counts[indices[firstLane(left)]];
    }
}

void countLowestWide(const std::uint8_t* indices, std::uint8_t highest, std::size_t count,
                     std::uint32_t* counts) {
    const uint8x16_t bound = vdupq_n_u8(highest);
    std::size_t done = 0;
    for (; done + 16 <= count; done += 16) {
        countBlock(indices + done, vcleq_u8(load(indices + done), bound), counts);
    }
    countLowest(indices + done, highest, count - done, counts);
}

std::uint32_t sumOf(const std::uint8_t* levels8, uint8x16_t mask) {
    return vaddlvq_u8(vandq_u8(load(levels8), mask));
}

/// The pixels of a block that share one index.
void addSameTones(ToneSums& entry, const ColorRow& row, uint8x16_t same) {
    entry.red += sumOf(row.red, same);
    entry.green += sumOf(row.green, same);
    entry.blue += sumOf(row.blue, same);
    entry.count += lanesOf(same);
}

/// The chosen pixels of a block one by one, each with a single addition of four sums.
void addSingleTones(const std::uint8_t* indices, const ColorRow& row, std::uint64_t chosen,
                    ToneSums* sums) {
    std::uint8_t pixels[16 * 4];
    storePixels(pixels, {{load(row.red), load(row.green), load(row.blue), vdupq_n_u8(1)}});
    for (; chosen != 0; chosen = withoutLane(chosen, firstLane(chosen))) {
        const std::size_t i = firstLane(chosen);
        std::uint32_t pixel;
        std::memcpy(&pixel, pixels + i * 4, sizeof(pixel));
        const uint16x8_t levels16 = vmovl_u8(vcreate_u8(pixel));
        auto* entry = reinterpret_cast<std::uint32_t*>(sums + indices[i]);
        vst1q_u32(entry, vaddw_u16(vld1q_u32(entry), vget_low_u16(levels16)));
    }
}

void addTonesOfBlock(const std::uint8_t* indices, uint8x16_t chosen, const ColorRow& row,
                     ToneSums* sums) {
    for (std::uint64_t left = bitsOf(chosen); left != 0; left = bitsOf(chosen)) {
        const uint8x16_t same = sameAsFirst(indices, chosen);
        if (!areMost(same, chosen)) {
            addSingleTones(indices, row, left, sums);
            return;
        }
        addSameTones(sums[indices[firstLane(left)]], row, same);
        chosen = vbicq_u8(chosen, same);
    }
}

void addTonesWide(const std::uint8_t* indices, std::uint8_t lowest, const ColorRow& row,
                  std::size_t count, ToneSums* sums) {
    const uint8x16_t bound = vdupq_n_u8(lowest);
    std::size_t done = 0;
    for (; done + 16 <= count; done += 16) {
        addTonesOfBlock(indices + done, vcgeq_u8(load(indices + done), bound),
                        {row.red + done, row.green + done, row.blue + done}, sums);
    }
    addTones(indices + done, lowest, {row.red + done, row.green + done, row.blue + done},
             count - done, sums);
}

} // namespace

void addNeonKernels(KernelSet& kernels) {
    kernels.bytes = {splitWide<std::uint8_t>, mergeWide<std::uint8_t>, levels<std::uint8_t>,
                     lookUpBytes, blendWide<std::uint8_t>};
    kernels.words = {splitWide<std::uint16_t>, mergeWide<std::uint16_t>, levelsOfWords,
                     lookUp<std::uint16_t>, blendWide<std::uint16_t>};
    kernels.levels = {tones, neutralities, leastOfSquares, countLowestWide, addTonesWide};
}

} // namespace tintwell::kernels
