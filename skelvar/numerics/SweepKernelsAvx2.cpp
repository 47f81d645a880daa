// Built for processors with AVX2.

#include <skelvar/numerics/SweepKernels.h>

#include <skelvar/numerics/SweepKernelsImpl.h>

namespace Skelvar::Detail {

const SweepKernels kAvx2SweepKernels{sweepCore, sweepUniform, sweepRows, addUniform<float>,
                                     addUniform<double>};

}  // namespace Skelvar::Detail
