#include "module/kernels/variant_sources.h"
#include "module/kernels/wide_loops.h"

#include <arm_neon.h>

namespace tintwell::kernels {
namespace {

/// The low bytes of the rounded 255/32768 of each sample.
uint8x8_t levelsOf(uint16x8_t samples) {
    const uint16x4_t low = vrshrn_n_u32(vmull_n_u16(vget_low_u16(samples), 255), 15);
    const uint16x4_t high = vrshrn_n_u32(vmull_n_u16(vget_high_u16(samples), 255), 15);
    return vmovn_u16(vcombine_u16(low, high));
}

void levelsOfWords(const std::byte* samples, std::size_t count, std::uint8_t* levels) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(samples);
    std::size_t done = 0;
    for (; done + 8 <= count; done += 8) {
        vst1_u8(levels + done, levelsOf(vreinterpretq_u16_u8(vld1q_u8(bytes + 2 * done))));
    }
    toLevels<std::uint16_t>(samples + 2 * done, count - done, levels + done);
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
        uint8x16_t index = vld1q_u8(samples + done);
        uint8x16_t found = vqtbl4q_u8(table0, index);
        index = vsubq_u8(index, part);
        found = vqtbx4q_u8(found, table1, index);
        index = vsubq_u8(index, part);
        found = vqtbx4q_u8(found, table2, index);
        index = vsubq_u8(index, part);
        vst1q_u8(results + done, vqtbx4q_u8(found, table3, index));
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

/// For the loops of wide_loops.h.
struct Vectors {
    static constexpr std::size_t kBytes = 16;
    static constexpr std::size_t kLaneBits = 4;

    static uint8x16_t load(const std::uint8_t* from) { return vld1q_u8(from); }

    static uint16x8_t load(const std::uint16_t* from) { return vld1q_u16(from); }

    static void store(std::uint8_t* to, uint8x16_t samples) { vst1q_u8(to, samples); }

    static void store(std::uint16_t* to, uint16x8_t samples) { vst1q_u16(to, samples); }

    static uint8x16x4_t loadPixels(const std::uint8_t* from) { return vld4q_u8(from); }

    static uint16x8x4_t loadPixels(const std::uint16_t* from) { return vld4q_u16(from); }

    static void storePixels(std::uint8_t* to, const uint8x16x4_t& pixels) { vst4q_u8(to, pixels); }

    static void storePixels(std::uint16_t* to, const uint16x8x4_t& pixels) {
        vst4q_u16(to, pixels);
    }

    static bool haveSameAlpha(uint8x16_t corrected, uint8x16_t original, std::uint32_t index,
                              std::uint8_t /*sample type*/) {
        const uint32x4_t alpha = vdupq_n_u32(0xFFU << (index * 8));
        const uint8x16_t good =
            vandq_u8(vceqq_u8(corrected, original), vtstq_u8(corrected, corrected));
        return vminvq_u32(vornq_u32(vreinterpretq_u32_u8(good), alpha)) == 0xFFFFFFFFU;
    }

    static bool haveSameAlpha(uint16x8_t corrected, uint16x8_t original, std::uint32_t index,
                              std::uint16_t /*sample type*/) {
        const uint64x2_t alpha = vdupq_n_u64(std::uint64_t{0xFFFF} << (index * 16));
        const uint16x8_t good =
            vandq_u16(vceqq_u16(corrected, original), vtstq_u16(corrected, corrected));
        return vminvq_u32(vreinterpretq_u32_u64(vornq_u64(vreinterpretq_u64_u16(good), alpha))) ==
               0xFFFFFFFFU;
    }

    template <class Vector, class Sample>
    static Vector mix(Vector corrected, Vector original, BlendWeights weights, Sample /*type*/) {
        return kernels::mix(corrected, original, weights);
    }

    static uint8x16_t atMost(const std::uint8_t* bytes, std::uint8_t bound) {
        return vcleq_u8(load(bytes), vdupq_n_u8(bound));
    }

    static uint8x16_t atLeast(const std::uint8_t* bytes, std::uint8_t bound) {
        return vcgeq_u8(load(bytes), vdupq_n_u8(bound));
    }

    static uint8x16_t equal(const std::uint8_t* bytes, std::uint8_t to) {
        return vceqq_u8(load(bytes), vdupq_n_u8(to));
    }

    /// Narrowing leaves four bits of each byte of the mask, of which one is kept.
    static Lanes lanesOf(uint8x16_t mask) {
        const uint8x8_t halves = vshrn_n_u16(vreinterpretq_u16_u8(mask), 4);
        return vget_lane_u64(vreinterpret_u64_u8(halves), 0) & 0x1111111111111111U;
    }

    static std::uint32_t sumOf(uint8x16_t bytes, uint8x16_t mask) {
        return vaddlvq_u8(vandq_u8(bytes, mask));
    }

    static void addPixel(ToneSums& sums, const std::uint8_t* pixel) {
        std::uint32_t bytes;
        std::memcpy(&bytes, pixel, sizeof(bytes));
        const uint16x8_t values = vmovl_u8(vcreate_u8(bytes));
        auto* entry = reinterpret_cast<std::uint32_t*>(&sums);
        vst1q_u32(entry, vaddw_u16(vld1q_u32(entry), vget_low_u16(values)));
    }
};

} // namespace

void addNeonKernels(KernelSet& kernels) {
    kernels.bytes = {splitWide<Vectors, std::uint8_t>, mergeWide<Vectors, std::uint8_t>,
                     toLevels<std::uint8_t>, lookUpBytes, blendWide<Vectors, std::uint8_t>};
    kernels.words = {splitWide<Vectors, std::uint16_t>, mergeWide<Vectors, std::uint16_t>,
                     levelsOfWords, lookUp<std::uint16_t>, blendWide<Vectors, std::uint16_t>};
    kernels.levels = {
        tones,      neutralities, leastOfSquares, countLowestWide<Vectors>, addTonesWide<Vectors>,
        makeCounted};
}

} // namespace tintwell::kernels
