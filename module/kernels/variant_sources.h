#pragma once

// What each variant's file offers: the plain kernels, and functions that put better ones in the
// place of those a set has. Which of them exist is the build's business, which of them run is the
// processor's.

#include "module/kernels/variants.h"

namespace tintwell::kernels {

KernelSet plainKernels();
void addAvx2Kernels(KernelSet& kernels);
void addAvx512Kernels(KernelSet& kernels);     ///< needs F, BW, DQ and VL
void addAvx512VbmiKernels(KernelSet& kernels); ///< needs VBMI beside those
void addNeonKernels(KernelSet& kernels);

} // namespace tintwell::kernels
