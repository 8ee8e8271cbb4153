#include "module/kernels/variant_sources.h"
#include "module/kernels/wide_loops.h"

#include <immintrin.h>

namespace tintwell::kernels {
namespace {

__m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

void store(void* to, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

/// Quarter q of vector v becomes quarter v of vector q.
void transposeQuarters(__m256i (&v)[4]) {
    const __m256i even01 = _mm256_unpacklo_epi64(v[0], v[1]);
    const __m256i odd01 = _mm256_unpackhi_epi64(v[0], v[1]);
    const __m256i even23 = _mm256_unpacklo_epi64(v[2], v[3]);
    const __m256i odd23 = _mm256_unpackhi_epi64(v[2], v[3]);
    v[0] = _mm256_permute2x128_si256(even01, even23, 0x20);
    v[1] = _mm256_permute2x128_si256(odd01, odd23, 0x20);
    v[2] = _mm256_permute2x128_si256(even01, even23, 0x31);
    v[3] = _mm256_permute2x128_si256(odd01, odd23, 0x31);
}

/// Groups of four bytes: those of both halves side by side, the first of each half first.
__m256i interleaveHalves(__m256i v) {
    return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

__m256i separateHalves(__m256i v) {
    return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
}

/// Sorts the samples of one vector of pixels by channel, a quarter each.
__m256i quartersOfPixels(__m256i pixels, std::uint8_t /*sample type*/) {
    const __m128i order = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return interleaveHalves(_mm256_shuffle_epi8(pixels, _mm256_broadcastsi128_si256(order)));
}

__m256i quartersOfPixels(__m256i pixels, std::uint16_t /*sample type*/) {
    const __m128i order = _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
    return interleaveHalves(_mm256_shuffle_epi8(pixels, _mm256_broadcastsi128_si256(order)));
}

/// The inverse of quartersOfPixels.
__m256i pixelsOfQuarters(__m256i quarters, std::uint8_t /*sample type*/) {
    const __m128i order = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm256_shuffle_epi8(separateHalves(quarters), _mm256_broadcastsi128_si256(order));
}

__m256i pixelsOfQuarters(__m256i quarters, std::uint16_t /*sample type*/) {
    const __m128i order = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    return _mm256_shuffle_epi8(separateHalves(quarters), _mm256_broadcastsi128_si256(order));
}

/// The rounded 255/32768 of each sample, as the top half of 510 times the sample; its low byte.
__m256i levelsOf(__m256i samples) {
    const __m256i factor = _mm256_set1_epi16(510);
    const __m256i low = _mm256_mullo_epi16(samples, factor);
    const __m256i high = _mm256_mulhi_epu16(samples, factor);
    return _mm256_and_si256(_mm256_add_epi16(high, _mm256_srli_epi16(low, 15)),
                            _mm256_set1_epi16(0xFF));
}

__m256i levelsOf(__m256i first, __m256i second) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(levelsOf(first), levelsOf(second)), 0xD8);
}

void levelsOfWords(const std::byte* samples, std::size_t count, std::uint8_t* levels) {
    std::size_t done = 0;
    for (; done + 32 <= count; done += 32) {
        store(levels + done, levelsOf(load(samples + 2 * done), load(samples + 2 * done + 32)));
    }
    toLevels<std::uint16_t>(samples + 2 * done, count - done, levels + done);
}

/// Half a table of bytes as eight parts of 16, each but the first as its difference (exclusive or)
/// from the part before.
struct HalfTable {
    __m256i parts[8];
};

HalfTable halfTable(const std::uint8_t* entries) {
    HalfTable half;
    __m128i before = _mm_setzero_si128();
    for (std::size_t k = 0; k < 8; ++k) {
        const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(entries + k * 16));
        half.parts[k] = _mm256_broadcastsi128_si256(_mm_xor_si128(part, before));
        before = part;
    }
    return half;
}

/// The entries of samples 0..127, and 0 for the others. A byte permute gives 0 for negative
/// indices: an index that goes down by 16 meets the parts up to its own, and what they add up to is
/// its own part's entry.
__m256i lookUpHalf(const HalfTable& half, __m256i samples) {
    __m256i found = _mm256_shuffle_epi8(half.parts[0], samples);
    for (std::size_t k = 1; k < 8; ++k) {
        samples = _mm256_subs_epi8(samples, _mm256_set1_epi8(16));
        found = _mm256_xor_si256(found, _mm256_shuffle_epi8(half.parts[k], samples));
    }
    return found;
}

void lookUpBytes(const std::uint8_t* samples, std::size_t count, const std::uint8_t* table,
                 std::uint8_t* results) {
    const HalfTable lower = halfTable(table);
    const HalfTable upper = halfTable(table + 128);
    const __m256i half = _mm256_set1_epi8(-128);
    std::size_t done = 0;
    for (; done + 32 <= count; done += 32) {
        const __m256i index = load(samples + done);
        store(results + done, _mm256_or_si256(lookUpHalf(lower, index),
                                              lookUpHalf(upper, _mm256_xor_si256(index, half))));
    }
    lookUp(samples + done, count - done, table, results + done);
}

/// The low, next, ... word of four indices, each replaced by its entry.
template <int kFirst>
__m128i insertEntries(__m128i entries, std::uint64_t indices, const std::uint16_t* table) {
    entries = _mm_insert_epi16(entries, table[indices & 0xFFFFU], kFirst);
    entries = _mm_insert_epi16(entries, table[indices >> 16U & 0xFFFFU], kFirst + 1);
    entries = _mm_insert_epi16(entries, table[indices >> 32U & 0xFFFFU], kFirst + 2);
    return _mm_insert_epi16(entries, table[indices >> 48U], kFirst + 3);
}

/// Loads single entries: on the processors measured that is faster than gathering them.
void lookUpWords(const std::uint16_t* samples, std::size_t count, const std::uint16_t* table,
                 std::uint16_t* results) {
    const __m128i last = _mm_set1_epi16(4096);
    std::size_t done = 0;
    for (; done + 8 <= count; done += 8) {
        const __m128i from = _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples + done));
        const __m128i indices = _mm_min_epu16(_mm_srli_epi16(from, 3), last);
        const auto low = static_cast<std::uint64_t>(_mm_cvtsi128_si64(indices));
        const auto high = static_cast<std::uint64_t>(_mm_extract_epi64(indices, 1));
        const __m128i entries = insertEntries<0>(_mm_setzero_si128(), low, table);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(results + done),
                         insertEntries<4>(entries, high, table));
    }
    lookUp(samples + done, count - done, table, results + done);
}

/// original + ((corrected - original) * weight + 32768) / 65536 rounded down, in 16 bits.
__m256i mixBytes(__m256i corrected, __m256i original, __m256i weight) {
    const __m256i difference = _mm256_sub_epi16(corrected, original);
    const __m256i low = _mm256_mullo_epi16(difference, weight);
    // A negative difference counts as 65536 more: the weight too much.
    const __m256i excess = _mm256_and_si256(_mm256_srai_epi16(difference, 15), weight);
    const __m256i high = _mm256_sub_epi16(_mm256_mulhi_epu16(difference, weight), excess);
    return _mm256_add_epi16(_mm256_add_epi16(original, high), _mm256_srli_epi16(low, 15));
}

__m256i mix(__m256i corrected, __m256i original, BlendWeights weights, std::uint8_t /*type*/) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i weight = _mm256_set1_epi16(static_cast<short>(weights.corrected));
    const __m256i low = mixBytes(_mm256_unpacklo_epi8(corrected, zero),
                                 _mm256_unpacklo_epi8(original, zero), weight);
    const __m256i high = mixBytes(_mm256_unpackhi_epi8(corrected, zero),
                                  _mm256_unpackhi_epi8(original, zero), weight);
    return _mm256_packus_epi16(low, high);
}

/// Both products in two halves; the lower halves and the rounding term carry into the upper ones.
__m256i mix(__m256i corrected, __m256i original, BlendWeights weights, std::uint16_t /*type*/) {
    const __m256i ofCorrected = _mm256_set1_epi16(static_cast<short>(weights.corrected));
    const __m256i ofOriginal = _mm256_set1_epi16(static_cast<short>(weights.original));
    const __m256i low = _mm256_mullo_epi16(corrected, ofCorrected);
    const __m256i sum = _mm256_add_epi16(low, _mm256_mullo_epi16(original, ofOriginal));
    const __m256i noCarry = _mm256_cmpeq_epi16(_mm256_max_epu16(sum, low), sum);
    const __m256i carry = _mm256_add_epi16(noCarry, _mm256_set1_epi16(1));
    const __m256i high = _mm256_add_epi16(_mm256_mulhi_epu16(corrected, ofCorrected),
                                          _mm256_mulhi_epu16(original, ofOriginal));
    return _mm256_add_epi16(_mm256_add_epi16(high, carry), _mm256_srli_epi16(sum, 15));
}

/// Where alpha stands in each pixel: all bits of it.
__m256i alphaBits(std::uint32_t index, std::uint8_t /*sample type*/) {
    return _mm256_set1_epi32(static_cast<int>(0xFFU << (index * 8)));
}

__m256i alphaBits(std::uint32_t index, std::uint16_t /*sample type*/) {
    return _mm256_set1_epi64x(static_cast<std::int64_t>(std::uint64_t{0xFFFF} << (index * 16)));
}

__m256i equal(__m256i a, __m256i b, std::uint8_t /*sample type*/) {
    return _mm256_cmpeq_epi8(a, b);
}

__m256i equal(__m256i a, __m256i b, std::uint16_t /*sample type*/) {
    return _mm256_cmpeq_epi16(a, b);
}

std::uint32_t sumOf(__m256i levels8) {
    const __m256i sums = _mm256_sad_epu8(levels8, _mm256_setzero_si256());
    const __m128i two =
        _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    return static_cast<std::uint32_t>(_mm_cvtsi128_si64(two) + _mm_extract_epi64(two, 1));
}

/// For the loops of wide_loops.h.
struct Vectors {
    static constexpr std::size_t kBytes = sizeof(__m256i);
    static constexpr std::size_t kLaneBits = 1;

    struct Channels {
        __m256i val[4];
    };

    static __m256i load(const void* from) { return kernels::load(from); }

    static void store(void* to, __m256i value) { kernels::store(to, value); }

    template <class Sample>
    static Channels loadPixels(const Sample* pixels) {
        Channels channels;
        for (std::size_t k = 0; k < 4; ++k) {
            channels.val[k] =
                quartersOfPixels(load(pixels + k * kBytes / sizeof(Sample)), Sample{});
        }
        transposeQuarters(channels.val);
        return channels;
    }

    template <class Sample>
    static void storePixels(Sample* pixels, Channels channels) {
        transposeQuarters(channels.val);
        for (std::size_t k = 0; k < 4; ++k) {
            store(pixels + k * kBytes / sizeof(Sample),
                  pixelsOfQuarters(channels.val[k], Sample{}));
        }
    }

    template <class Sample>
    static bool haveSameAlpha(__m256i corrected, __m256i original, std::uint32_t index,
                              Sample type) {
        const __m256i zero = kernels::equal(corrected, _mm256_setzero_si256(), type);
        const __m256i same = kernels::equal(corrected, original, type);
        return _mm256_testc_si256(_mm256_andnot_si256(zero, same), alphaBits(index, type)) != 0;
    }

    template <class Sample>
    static __m256i mix(__m256i corrected, __m256i original, BlendWeights weights, Sample type) {
        return kernels::mix(corrected, original, weights, type);
    }

    static __m256i atMost(const std::uint8_t* bytes, std::uint8_t bound) {
        const __m256i all = load(bytes);
        return _mm256_cmpeq_epi8(_mm256_min_epu8(all, everywhere(bound)), all);
    }

    static __m256i atLeast(const std::uint8_t* bytes, std::uint8_t bound) {
        const __m256i all = load(bytes);
        return _mm256_cmpeq_epi8(_mm256_max_epu8(all, everywhere(bound)), all);
    }

    static __m256i equal(const std::uint8_t* bytes, std::uint8_t to) {
        return _mm256_cmpeq_epi8(load(bytes), everywhere(to));
    }

    static Lanes lanesOf(__m256i mask) {
        return static_cast<std::uint32_t>(_mm256_movemask_epi8(mask));
    }

    static std::uint32_t sumOf(__m256i bytes, __m256i mask) {
        return kernels::sumOf(_mm256_and_si256(bytes, mask));
    }

    static void addPixel(ToneSums& sums, const std::uint8_t* pixel) {
        auto* entry = reinterpret_cast<__m128i*>(&sums);
        const __m128i values = _mm_cvtepu8_epi32(_mm_loadu_si32(pixel));
        _mm_storeu_si128(entry, _mm_add_epi32(_mm_loadu_si128(entry), values));
    }

private:
    static __m256i everywhere(std::uint8_t byte) {
        return _mm256_set1_epi8(static_cast<char>(byte));
    }
};

} // namespace

void addAvx2Kernels(KernelSet& kernels) {
    kernels.bytes = {splitWide<Vectors, std::uint8_t>, mergeWide<Vectors, std::uint8_t>,
                     toLevels<std::uint8_t>, lookUpBytes, blendWide<Vectors, std::uint8_t>};
    kernels.words = {splitWide<Vectors, std::uint16_t>, mergeWide<Vectors, std::uint16_t>,
                     levelsOfWords, lookUpWords, blendWide<Vectors, std::uint16_t>};
    kernels.levels = {
        tones,      neutralities, leastOfSquares, countLowestWide<Vectors>, addTonesWide<Vectors>,
        makeCounted};
}

} // namespace tintwell::kernels
