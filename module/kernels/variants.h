#pragma once

// The variants of the kernels and the choice among them. The best one that the processor runs is
// chosen when the module is loaded.

#include "module/kernels/kernels.h"

#include <span>

namespace tintwell::kernels {

/// Every kernel, all of one variant or of the next lower one that has it.
struct KernelSet {
    SampleKernels<std::uint8_t> bytes;
    SampleKernels<std::uint16_t> words;
    LevelKernels levels;
};

struct Variant {
    const char* name;
    KernelSet kernels;
};

/// What this processor runs: the plain variant first, the best one last.
std::span<const Variant> availableVariants();

/// For tests and benchmarks: makes the whole process use these kernels, which must outlive their
/// use. Not while another thread renders.
void useKernels(const KernelSet& kernels);

} // namespace tintwell::kernels
