#include "zemra/matrix/kernel_set.h"

#include <cstdlib>
#include <string_view>

namespace ZEMRA::Vibration {
namespace {

KernelSet Choose() {
    const char* const asked = std::getenv("ZEMRA_VIBRATION_KERNELS");
    if (asked && std::string_view(asked) == "baseline") return KernelSet::kBaseline;
    return IsAvailable(KernelSet::kAvx2) ? KernelSet::kAvx2 : KernelSet::kBaseline;
}

}  // namespace

bool IsAvailable(KernelSet set) {
    if (set == KernelSet::kBaseline) return true;
#ifdef ZEMRA_AVX2_KERNELS
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
    return false;
#endif
}

KernelSet ChosenKernels() {
    static const KernelSet chosen = Choose();
    return chosen;
}

}  // namespace ZEMRA::Vibration
