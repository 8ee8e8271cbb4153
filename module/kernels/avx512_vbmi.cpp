#include "module/kernels/loops.h"
#include "module/kernels/variant_sources.h"

#include <immintrin.h>

namespace tintwell::kernels {
namespace {

void lookUpBytes(const std::uint8_t* samples, std::size_t count, const std::uint8_t* table,
                 std::uint8_t* results) {
    const __m512i table0 = _mm512_loadu_si512(table);
    const __m512i table1 = _mm512_loadu_si512(table + 64);
    const __m512i table2 = _mm512_loadu_si512(table + 128);
    const __m512i table3 = _mm512_loadu_si512(table + 192);
    std::size_t done = 0;
    for (; done + 64 <= count; done += 64) {
        const __m512i index = _mm512_loadu_si512(samples + done);
        const __m512i low = _mm512_permutex2var_epi8(table0, index, table1);
        const __m512i high = _mm512_permutex2var_epi8(table2, index, table3);
        _mm512_storeu_si512(results + done,
                            _mm512_mask_mov_epi8(low, _mm512_movepi8_mask(index), high));
    }
    lookUp<std::uint8_t>(samples + done, count - done, table, results + done);
}

} // namespace

void addAvx512VbmiKernels(KernelSet& kernels) {
    kernels.bytes.lookUp = lookUpBytes;
}

} // namespace tintwell::kernels
