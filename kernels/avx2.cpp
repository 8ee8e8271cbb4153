#include "kernels/loops.h"
#include "kernels/variant_sources.h"

namespace tintwell::kernels {

void addAvx2Kernels(KernelSet& kernels) {
    kernels.levels = {tones, neutralities, leastOfSquares, countLowest, addTones};
}

} // namespace tintwell::kernels
