#include "kernels/loops.h"
#include "kernels/variant_sources.h"

namespace tintwell::kernels {

void addNeonKernels(KernelSet& kernels) {
    kernels.levels = {tones, neutralities, addTones};
}

} // namespace tintwell::kernels
