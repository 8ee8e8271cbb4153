#include "kernels/loops.h"
#include "kernels/variant_sources.h"

#include <immintrin.h>

namespace tintwell::kernels {
namespace {

__m512i load(const void* from) {
    return _mm512_loadu_si512(from);
}

void store(void* to, __m512i value) {
    _mm512_storeu_si512(to, value);
}

/// Quarter q of vector v becomes quarter v of vector q.
void transposeQuarters(__m512i (&v)[4]) {
    const __m512i low01 = _mm512_shuffle_i32x4(v[0], v[1], 0x44);
    const __m512i high01 = _mm512_shuffle_i32x4(v[0], v[1], 0xEE);
    const __m512i low23 = _mm512_shuffle_i32x4(v[2], v[3], 0x44);
    const __m512i high23 = _mm512_shuffle_i32x4(v[2], v[3], 0xEE);
    v[0] = _mm512_shuffle_i32x4(low01, low23, 0x88);
    v[1] = _mm512_shuffle_i32x4(low01, low23, 0xDD);
    v[2] = _mm512_shuffle_i32x4(high01, high23, 0x88);
    v[3] = _mm512_shuffle_i32x4(high01, high23, 0xDD);
}

/// Sorts the samples of one vector of pixels by channel, a quarter each.
__m512i quartersOfPixels(__m512i pixels, std::uint8_t /*sample type*/) {
    // Both steps turn rows of four into columns, first of bytes and then of groups of four.
    const __m512i bytes =
        _mm512_broadcast_i32x4(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    const __m512i groups = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm512_permutexvar_epi32(groups, _mm512_shuffle_epi8(pixels, bytes));
}

__m512i quartersOfPixels(__m512i pixels, std::uint16_t /*sample type*/) {
    const __m512i order =
        _mm512_set_epi16(31, 27, 23, 19, 15, 11, 7, 3, 30, 26, 22, 18, 14, 10, 6, 2, 29, 25, 21, 17,
                         13, 9, 5, 1, 28, 24, 20, 16, 12, 8, 4, 0);
    return _mm512_permutexvar_epi16(order, pixels);
}

/// The inverse of quartersOfPixels.
__m512i pixelsOfQuarters(__m512i quarters, std::uint8_t /*sample type*/) {
    const __m512i bytes =
        _mm512_broadcast_i32x4(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    const __m512i groups = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm512_shuffle_epi8(_mm512_permutexvar_epi32(groups, quarters), bytes);
}

__m512i pixelsOfQuarters(__m512i quarters, std::uint16_t /*sample type*/) {
    const __m512i order =
        _mm512_set_epi16(31, 23, 15, 7, 30, 22, 14, 6, 29, 21, 13, 5, 28, 20, 12, 4, 27, 19, 11, 3,
                         26, 18, 10, 2, 25, 17, 9, 1, 24, 16, 8, 0);
    return _mm512_permutexvar_epi16(order, quarters);
}

/// Pixels whose samples of one channel fill a vector.
template <class Sample>
constexpr std::size_t kBlock = sizeof(__m512i) / sizeof(Sample);

template <class Sample>
void splitWide(const std::byte* pixels, std::size_t count, Sample* const planes[4]) {
    std::size_t done = 0;
    for (; done + kBlock<Sample> <= count; done += kBlock<Sample>) {
        const std::byte* from = pixels + done * 4 * sizeof(Sample);
        __m512i v[4];
        for (std::size_t k = 0; k < 4; ++k) {
            v[k] = quartersOfPixels(load(from + k * sizeof(__m512i)), Sample{});
        }
        transposeQuarters(v);
        for (std::size_t k = 0; k < 4; ++k) {
            store(planes[k] + done, v[k]);
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
        std::byte* to = pixels + done * 4 * sizeof(Sample);
        __m512i v[4] = {load(planes[0] + done), load(planes[1] + done), load(planes[2] + done),
                        load(planes[3] + done)};
        transposeQuarters(v);
        for (std::size_t k = 0; k < 4; ++k) {
            store(to + k * sizeof(__m512i), pixelsOfQuarters(v[k], Sample{}));
        }
    }
    const Sample* const rest[4] = {planes[0] + done, planes[1] + done, planes[2] + done,
                                   planes[3] + done};
    merge<Sample>(rest, count - done, pixels + done * 4 * sizeof(Sample));
}

/// The rounded 255/32768 of each sample, as the top half of 510 times the sample; its low byte.
__m256i levelsOf(__m512i samples) {
    const __m512i factor = _mm512_set1_epi16(510);
    const __m512i low = _mm512_mullo_epi16(samples, factor);
    const __m512i high = _mm512_mulhi_epu16(samples, factor);
    return _mm512_cvtepi16_epi8(_mm512_add_epi16(high, _mm512_srli_epi16(low, 15)));
}

void levelsOfWords(const std::uint16_t* samples, std::size_t count, std::uint8_t* levels8) {
    std::size_t done = 0;
    for (; done + 32 <= count; done += 32) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(levels8 + done),
                            levelsOf(load(samples + done)));
    }
    levels(samples + done, count - done, levels8 + done);
}

/// original + ((corrected - original) * weight + 32768) / 65536 rounded down, in 16 bits.
__m512i mixBytes(__m512i corrected, __m512i original, __m512i weight) {
    const __m512i difference = _mm512_sub_epi16(corrected, original);
    const __m512i low = _mm512_mullo_epi16(difference, weight);
    // A negative difference counts as 65536 more: the weight too much.
    const __m512i excess = _mm512_and_si512(_mm512_srai_epi16(difference, 15), weight);
    const __m512i high = _mm512_sub_epi16(_mm512_mulhi_epu16(difference, weight), excess);
    return _mm512_add_epi16(_mm512_add_epi16(original, high), _mm512_srli_epi16(low, 15));
}

__m512i mix(__m512i corrected, __m512i original, BlendWeights weights, std::uint8_t /*type*/) {
    const __m512i zero = _mm512_setzero_si512();
    const __m512i weight = _mm512_set1_epi16(static_cast<short>(weights.corrected));
    const __m512i low = mixBytes(_mm512_unpacklo_epi8(corrected, zero),
                                 _mm512_unpacklo_epi8(original, zero), weight);
    const __m512i high = mixBytes(_mm512_unpackhi_epi8(corrected, zero),
                                  _mm512_unpackhi_epi8(original, zero), weight);
    return _mm512_packus_epi16(low, high);
}

__m256i mixWords(__m256i corrected, __m256i original, BlendWeights weights) {
    const __m512i ofCorrected = _mm512_mullo_epi32(
        _mm512_cvtepu16_epi32(corrected), _mm512_set1_epi32(static_cast<int>(weights.corrected)));
    const __m512i ofOriginal = _mm512_mullo_epi32(
        _mm512_cvtepu16_epi32(original), _mm512_set1_epi32(static_cast<int>(weights.original)));
    const __m512i sum =
        _mm512_add_epi32(_mm512_add_epi32(ofCorrected, ofOriginal), _mm512_set1_epi32(32768));
    return _mm512_cvtepi32_epi16(_mm512_srli_epi32(sum, 16));
}

__m512i mix(__m512i corrected, __m512i original, BlendWeights weights, std::uint16_t /*type*/) {
    const __m256i low =
        mixWords(_mm512_castsi512_si256(corrected), _mm512_castsi512_si256(original), weights);
    const __m256i high = mixWords(_mm512_extracti64x4_epi64(corrected, 1),
                                  _mm512_extracti64x4_epi64(original, 1), weights);
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

/// Whether all pixels have the same alpha in both and none of them is 0.
bool haveSameAlpha(__m512i corrected, __m512i original, std::uint32_t index,
                   std::uint8_t /*sample type*/) {
    const __m512i alpha = _mm512_set1_epi32(static_cast<int>(0xFFU << (index * 8)));
    const __m512i difference = _mm512_xor_si512(corrected, original);
    return _mm512_test_epi32_mask(difference, alpha) == 0 &&
           _mm512_testn_epi32_mask(corrected, alpha) == 0;
}

bool haveSameAlpha(__m512i corrected, __m512i original, std::uint32_t index,
                   std::uint16_t /*sample type*/) {
    const __m512i alpha =
        _mm512_set1_epi64(static_cast<std::int64_t>(std::uint64_t{0xFFFF} << (index * 16)));
    const __m512i difference = _mm512_xor_si512(corrected, original);
    return _mm512_test_epi64_mask(difference, alpha) == 0 &&
           _mm512_testn_epi64_mask(corrected, alpha) == 0;
}

template <class Sample>
void blendWide(const std::byte* corrected, const std::byte* original, std::byte* destination,
               std::size_t count, BlendWeights weights) {
    constexpr std::size_t kPixels = kBlock<Sample> / 4;
    std::size_t done = 0;
    for (; done + kPixels <= count; done += kPixels) {
        const std::size_t offset = done * 4 * sizeof(Sample);
        const __m512i from = load(corrected + offset);
        const __m512i with = load(original + offset);
        if (haveSameAlpha(from, with, weights.alphaIndex, Sample{})) {
            store(destination + offset, mix(from, with, weights, Sample{}));
        } else {
            blend<Sample>(corrected + offset, original + offset, destination + offset, kPixels,
                          weights);
        }
    }
    const std::size_t offset = done * 4 * sizeof(Sample);
    blend<Sample>(corrected + offset, original + offset, destination + offset, count - done,
                  weights);
}

/// Counts the chosen indices of a block. Where one has most of them, as in flat parts, it is
/// counted at once.
void countBlock(const std::uint8_t* indices, __mmask64 chosen, std::uint32_t* counts) {
    const __m512i all = load(indices);
    while (chosen != 0) {
        const std::uint8_t first = indices[__builtin_ctzll(chosen)];
        const __mmask64 same =
            _mm512_mask_cmpeq_epi8_mask(chosen, all, _mm512_set1_epi8(static_cast<char>(first)));
        const int pixels = __builtin_popcountll(same);
        if (2 * pixels <= __builtin_popcountll(chosen)) {
            break;
        }
        counts[first] += static_cast<std::uint32_t>(pixels);
        chosen &= ~same;
    }
    for (; chosen != 0; chosen &= chosen - 1) {
        ++counts[indices[__builtin_ctzll(chosen)]];
    }
}

void countLowestWide(const std::uint8_t* indices, std::uint8_t highest, std::size_t count,
                     std::uint32_t* counts) {
    const __m512i bound = _mm512_set1_epi8(static_cast<char>(highest));
    std::size_t done = 0;
    for (; done + 64 <= count; done += 64) {
        countBlock(indices + done, _mm512_cmple_epu8_mask(load(indices + done), bound), counts);
    }
    countLowest(indices + done, highest, count - done, counts);
}

std::uint32_t sumOf(__m512i levels8, __mmask64 mask) {
    const __m512i chosen = _mm512_maskz_mov_epi8(mask, levels8);
    return static_cast<std::uint32_t>(
        _mm512_reduce_add_epi64(_mm512_sad_epu8(chosen, _mm512_setzero_si512())));
}

/// The pixels of a block that share one index.
void addSameTones(ToneSums& entry, const ColorRow& row, __mmask64 same) {
    entry.red += sumOf(load(row.red), same);
    entry.green += sumOf(load(row.green), same);
    entry.blue += sumOf(load(row.blue), same);
    entry.count += static_cast<std::uint32_t>(__builtin_popcountll(same));
}

/// The chosen pixels of a block one by one, each with a single addition of four sums.
void addSingleTones(const std::uint8_t* indices, const ColorRow& row, __mmask64 chosen,
                    ToneSums* sums) {
    __m512i v[4] = {load(row.red), load(row.green), load(row.blue), _mm512_set1_epi8(1)};
    transposeQuarters(v);
    std::uint8_t pixels[64 * 4];
    for (std::size_t k = 0; k < 4; ++k) {
        store(pixels + k * sizeof(__m512i), pixelsOfQuarters(v[k], std::uint8_t{}));
    }
    for (; chosen != 0; chosen &= chosen - 1) {
        const auto i = static_cast<std::size_t>(__builtin_ctzll(chosen));
        auto* entry = reinterpret_cast<__m128i*>(sums + indices[i]);
        const __m128i levels32 = _mm_cvtepu8_epi32(_mm_loadu_si32(pixels + i * 4));
        _mm_storeu_si128(entry, _mm_add_epi32(_mm_loadu_si128(entry), levels32));
    }
}

/// Where one index has most of the pixels, as in flat parts, they are added at once.
void addTonesOfBlock(const std::uint8_t* indices, __mmask64 chosen, const ColorRow& row,
                     ToneSums* sums) {
    const __m512i all = load(indices);
    while (chosen != 0) {
        const std::uint8_t first = indices[__builtin_ctzll(chosen)];
        const __mmask64 same =
            _mm512_mask_cmpeq_epi8_mask(chosen, all, _mm512_set1_epi8(static_cast<char>(first)));
        if (2 * __builtin_popcountll(same) <= __builtin_popcountll(chosen)) {
            addSingleTones(indices, row, chosen, sums);
            return;
        }
        addSameTones(sums[first], row, same);
        chosen &= ~same;
    }
}

void addTonesWide(const std::uint8_t* indices, std::uint8_t lowest, const ColorRow& row,
                  std::size_t count, ToneSums* sums) {
    const __m512i bound = _mm512_set1_epi8(static_cast<char>(lowest));
    std::size_t done = 0;
    for (; done + 64 <= count; done += 64) {
        const __mmask64 chosen = _mm512_cmpge_epu8_mask(load(indices + done), bound);
        addTonesOfBlock(indices + done, chosen, {row.red + done, row.green + done, row.blue + done},
                        sums);
    }
    addTones(indices + done, lowest, {row.red + done, row.green + done, row.blue + done},
             count - done, sums);
}

} // namespace

void addAvx512Kernels(KernelSet& kernels) {
    kernels.bytes.split = splitWide<std::uint8_t>;
    kernels.bytes.merge = mergeWide<std::uint8_t>;
    kernels.bytes.blend = blendWide<std::uint8_t>;
    kernels.words.split = splitWide<std::uint16_t>;
    kernels.words.merge = mergeWide<std::uint16_t>;
    kernels.words.levels = levelsOfWords;
    kernels.words.blend = blendWide<std::uint16_t>;
    kernels.levels = {tones, neutralities, leastOfSquares, countLowestWide, addTonesWide};
}

} // namespace tintwell::kernels
