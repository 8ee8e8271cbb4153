#include "module/kernels/variants.h"

#include "module/kernels/variant_sources.h"

#include <array>
#include <atomic>

namespace tintwell::kernels {
namespace {

struct Variants {
    std::array<Variant, 4> list{{{"plain", plainKernels()}}};
    std::size_t count = 1;

    KernelSet& add(const char* name) {
        list[count] = {name, list[count - 1].kernels};
        return list[count++].kernels;
    }
};

#if defined(TINTWELL_X86_64_KERNELS)

bool hasAvx512() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
}

void addAvailable(Variants& variants) {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) {
        addAvx2Kernels(variants.add("AVX2"));
        if (hasAvx512()) {
            addAvx512Kernels(variants.add("AVX-512"));
            if (__builtin_cpu_supports("avx512vbmi")) {
                addAvx512VbmiKernels(variants.add("AVX-512 VBMI"));
            }
        }
    }
}

#elif defined(TINTWELL_ARM64_KERNELS)

void addAvailable(Variants& variants) {
    addNeonKernels(variants.add("NEON")); // every 64-bit Arm processor has it
}

#else

void addAvailable(Variants& /*variants*/) {}

#endif

Variants findVariants() {
    Variants variants;
    addAvailable(variants);
    return variants;
}

const Variants kVariants = findVariants();
std::atomic<const KernelSet*> kernelsInUse{&availableVariants().back().kernels};

const KernelSet& current() {
    return *kernelsInUse.load(std::memory_order_relaxed);
}

} // namespace

std::span<const Variant> availableVariants() {
    return {kVariants.list.data(), kVariants.count};
}

void useKernels(const KernelSet& kernels) {
    kernelsInUse.store(&kernels, std::memory_order_relaxed);
}

template <>
const SampleKernels<std::uint8_t>& kernelsFor<std::uint8_t>() {
    return current().bytes;
}

template <>
const SampleKernels<std::uint16_t>& kernelsFor<std::uint16_t>() {
    return current().words;
}

const LevelKernels& levelKernels() {
    return current().levels;
}

} // namespace tintwell::kernels
