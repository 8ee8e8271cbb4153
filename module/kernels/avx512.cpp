#include "module/kernels/variant_sources.h"
#include "module/kernels/wide_loops.h"

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

/// The bytes of pixels channel by channel with half the shuffles of quartersOfPixels: groups of
/// four bytes of one channel are collected from two vectors at once, for two channels.
void splitBytes(const std::byte* pixels, std::size_t count, std::uint8_t* const planes[4]) {
    const __m512i bytes =
        _mm512_broadcast_i32x4(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    const __m512i first =
        _mm512_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28, 1, 5, 9, 13, 17, 21, 25, 29);
    const __m512i second = _mm512_add_epi32(first, _mm512_set1_epi32(2));
    std::size_t done = 0;
    for (; done + 32 <= count; done += 32) {
        const __m512i low = _mm512_shuffle_epi8(load(pixels + done * 4), bytes);
        const __m512i high = _mm512_shuffle_epi8(load(pixels + done * 4 + 64), bytes);
        const __m512i pair01 = _mm512_permutex2var_epi32(low, first, high);
        const __m512i pair23 = _mm512_permutex2var_epi32(low, second, high);
        const auto storeHalf = [done](std::uint8_t* plane, __m256i half) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(plane + done), half);
        };
        storeHalf(planes[0], _mm512_castsi512_si256(pair01));
        storeHalf(planes[1], _mm512_extracti64x4_epi64(pair01, 1));
        storeHalf(planes[2], _mm512_castsi512_si256(pair23));
        storeHalf(planes[3], _mm512_extracti64x4_epi64(pair23, 1));
    }
    std::uint8_t* const rest[4] = {planes[0] + done, planes[1] + done, planes[2] + done,
                                   planes[3] + done};
    split<std::uint8_t>(pixels + done * 4, count - done, rest);
}

/// The rounded 255/32768 of each sample, as the top half of 510 times the sample; its low byte.
__m256i levelsOf(__m512i samples) {
    const __m512i factor = _mm512_set1_epi16(510);
    const __m512i low = _mm512_mullo_epi16(samples, factor);
    const __m512i high = _mm512_mulhi_epu16(samples, factor);
    return _mm512_cvtepi16_epi8(_mm512_add_epi16(high, _mm512_srli_epi16(low, 15)));
}

void levelsOfWords(const std::byte* samples, std::size_t count, std::uint8_t* levels) {
    std::size_t done = 0;
    for (; done + 32 <= count; done += 32) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(levels + done),
                            levelsOf(load(samples + 2 * done)));
    }
    toLevels<std::uint16_t>(samples + 2 * done, count - done, levels + done);
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

/// For the loops of wide_loops.h.
struct Vectors {
    static constexpr std::size_t kBytes = sizeof(__m512i);
    static constexpr std::size_t kLaneBits = 1;

    struct Channels {
        __m512i val[4];
    };

    static __m512i load(const void* from) { return kernels::load(from); }

    static void store(void* to, __m512i value) { kernels::store(to, value); }

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

    static bool haveSameAlpha(__m512i corrected, __m512i original, std::uint32_t index,
                              std::uint8_t /*sample type*/) {
        const __m512i alpha = _mm512_set1_epi32(static_cast<int>(0xFFU << (index * 8)));
        const __m512i difference = _mm512_xor_si512(corrected, original);
        return _mm512_test_epi32_mask(difference, alpha) == 0 &&
               _mm512_testn_epi32_mask(corrected, alpha) == 0;
    }

    static bool haveSameAlpha(__m512i corrected, __m512i original, std::uint32_t index,
                              std::uint16_t /*sample type*/) {
        const __m512i alpha =
            _mm512_set1_epi64(static_cast<std::int64_t>(std::uint64_t{0xFFFF} << (index * 16)));
        const __m512i difference = _mm512_xor_si512(corrected, original);
        return _mm512_test_epi64_mask(difference, alpha) == 0 &&
               _mm512_testn_epi64_mask(corrected, alpha) == 0;
    }

    template <class Sample>
    static __m512i mix(__m512i corrected, __m512i original, BlendWeights weights, Sample type) {
        return kernels::mix(corrected, original, weights, type);
    }

    static __mmask64 atMost(const std::uint8_t* bytes, std::uint8_t bound) {
        return _mm512_cmple_epu8_mask(load(bytes), everywhere(bound));
    }

    static __mmask64 atLeast(const std::uint8_t* bytes, std::uint8_t bound) {
        return _mm512_cmpge_epu8_mask(load(bytes), everywhere(bound));
    }

    static __mmask64 equal(const std::uint8_t* bytes, std::uint8_t to) {
        return _mm512_cmpeq_epi8_mask(load(bytes), everywhere(to));
    }

    static Lanes lanesOf(__mmask64 mask) { return mask; }

    static std::uint32_t sumOf(__m512i bytes, __mmask64 mask) {
        const __m512i chosen = _mm512_maskz_mov_epi8(mask, bytes);
        return static_cast<std::uint32_t>(
            _mm512_reduce_add_epi64(_mm512_sad_epu8(chosen, _mm512_setzero_si512())));
    }

    static void addPixel(ToneSums& sums, const std::uint8_t* pixel) {
        auto* entry = reinterpret_cast<__m128i*>(&sums);
        const __m128i values = _mm_cvtepu8_epi32(_mm_loadu_si32(pixel));
        _mm_storeu_si128(entry, _mm_add_epi32(_mm_loadu_si128(entry), values));
    }

private:
    static __m512i everywhere(std::uint8_t byte) {
        return _mm512_set1_epi8(static_cast<char>(byte));
    }
};

/// Pixels that are to be added, put side by side: bits of a mask looked up one by one take as long
/// as the additions, and the processor cannot foresee where they end.
class ListedTones {
public:
    explicit ListedTones(ToneSums* sums) : sums_(sums) {}

    ListedTones(const ListedTones&) = delete;
    ListedTones& operator=(const ListedTones&) = delete;

    ~ListedTones() { add(); }

    /// Of a block, which has kBlockPixels.
    void list(const std::uint8_t* indices, Lanes chosen, const std::uint8_t* countedPixels) {
        for (std::size_t first = 0; first < kBlockPixels; first += kAtOnce) {
            const auto mask = static_cast<__mmask16>(chosen >> first);
            const __m512i wide = _mm512_cvtepu8_epi32(
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(indices + first)));
            store(indices_ + size_, _mm512_maskz_compress_epi32(mask, wide));
            store(pixels_ + size_,
                  _mm512_maskz_compress_epi32(mask, load(countedPixels + 4 * first)));
            size_ += sizeOf(mask);
        }
        if (size_ > kMost - kBlockPixels) {
            add();
        }
    }

private:
    static constexpr std::size_t kBlockPixels = Vectors::kBytes;
    static constexpr std::size_t kAtOnce = 16;
    static constexpr std::size_t kMost = 512;

    void add() {
        for (std::size_t i = 0; i < size_; ++i) {
            const std::size_t table = i % 2 * kToneIndices;
            Vectors::addPixel(sums_[table + indices_[i]],
                              reinterpret_cast<const std::uint8_t*>(pixels_ + i));
        }
        size_ = 0;
    }

    ToneSums* sums_;
    std::size_t size_ = 0;
    std::uint32_t indices_[kMost + kAtOnce]; // the last vector may reach beyond
    std::uint32_t pixels_[kMost + kAtOnce];
};

void addListedTones(const std::uint8_t* indices, std::uint8_t lowest,
                    const std::uint8_t* countedPixels, std::size_t count, ToneSums* sums) {
    ListedTones listed(sums);
    std::size_t done = 0;
    for (; done + Vectors::kBytes <= count; done += Vectors::kBytes) {
        const std::uint8_t* block = indices + done;
        const Lanes chosen = Vectors::lanesOf(Vectors::atLeast(block, lowest));
        if (chosen == 0) {
            continue;
        }
        const Lanes same = Vectors::lanesOf(Vectors::equal(block, block[firstOf<Vectors>(chosen)]));
        if (2 * sizeOf(same) > sizeOf(chosen)) {
            addTonesOfBlock<Vectors>(block, chosen, countedPixels + 4 * done, sums);
        } else {
            listed.list(block, chosen, countedPixels + 4 * done);
        }
    }
    addTones(indices + done, lowest, countedPixels + 4 * done, count - done, sums);
}

} // namespace

void addAvx512Kernels(KernelSet& kernels) {
    kernels.bytes.split = splitBytes;
    kernels.bytes.merge = mergeWide<Vectors, std::uint8_t>;
    kernels.bytes.blend = blendWide<Vectors, std::uint8_t>;
    kernels.words.split = splitWide<Vectors, std::uint16_t>;
    kernels.words.merge = mergeWide<Vectors, std::uint16_t>;
    kernels.words.levels = levelsOfWords;
    kernels.words.blend = blendWide<Vectors, std::uint16_t>;
    kernels.levels = {tones,          neutralities, leastOfSquares, countLowestWide<Vectors>,
                      addListedTones, makeCounted};
}

} // namespace tintwell::kernels
