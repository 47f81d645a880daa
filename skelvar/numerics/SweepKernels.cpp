#include <skelvar/numerics/SweepKernels.h>

#include <skelvar/numerics/SweepKernelsImpl.h>

namespace Skelvar::Detail {

const SweepKernels kPlainSweepKernels{sweepCore, sweepUniform, sweepRows, addUniform<float>,
                                      addUniform<double>};

const SweepKernels& sweepKernels()
{
#if defined(__x86_64__)
    static const bool s_has_avx2 = __builtin_cpu_supports("avx2");
    return s_has_avx2 ? kAvx2SweepKernels : kPlainSweepKernels;
#else
    return kPlainSweepKernels;
#endif
}

}  // namespace Skelvar::Detail
