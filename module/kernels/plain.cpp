#include "module/kernels/loops.h"
#include "module/kernels/variant_sources.h"

namespace tintwell::kernels {
namespace {

template <class Sample>
constexpr SampleKernels<Sample> kLoops = {split<Sample>, merge<Sample>, toLevels<Sample>,
                                          lookUp<Sample>, blend<Sample>};

} // namespace

KernelSet plainKernels() {
    return {kLoops<std::uint8_t>,
            kLoops<std::uint16_t>,
            {tones, neutralities, leastOfSquares, countLowest, addTones, makeCounted}};
}

} // namespace tintwell::kernels
