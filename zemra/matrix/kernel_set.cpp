#include "zemra/matrix/kernel_set.h"

#include <cstdlib>
#include <string_view>

namespace ZEMRA::Vibration {
namespace {

KernelSet Choose() {
    const char* const text = std::getenv("ZEMRA_VIBRATION_KERNELS");
    const std::string_view asked = text ? text : "";
    if (asked == "baseline") return KernelSet::kBaseline;
    if (asked != "avx2" && IsAvailable(KernelSet::kAvx512)) return KernelSet::kAvx512;
    return IsAvailable(KernelSet::kAvx2) ? KernelSet::kAvx2 : KernelSet::kBaseline;
}

}  // namespace

bool IsAvailable(KernelSet set) {
    if (set == KernelSet::kBaseline) return true;
#ifdef ZEMRA_WIDE_KERNELS
    const bool hasAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    if (set == KernelSet::kAvx2) return hasAvx2;
    return hasAvx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512dq");
#else
    return false;
#endif
}

KernelSet ChosenKernels() {
    static const KernelSet chosen = Choose();
    return chosen;
}

}  // namespace ZEMRA::Vibration
