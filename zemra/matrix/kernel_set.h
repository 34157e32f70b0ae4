#pragma once

namespace ZEMRA::Vibration {

/// The instruction sets that the wide kernels are compiled for, each of them part of the next.
/// A room's kernels stand in one header, …_kernels_lanes.h, which a source per set includes to
/// make its table of them; a build for a processor without them makes all tables alike.
///
/// kAvx2 is AVX2 with fused multiply-add. kAvx512 works on the same four lanes by the same
/// operations, and so to the same bits, with the 32 registers that AVX-512 has for them: wider
/// vectors measured no faster.
enum class KernelSet { kBaseline, kAvx2, kAvx512 };

/// The set of this process, chosen once, at the first question: the last one that IsAvailable.
/// The environment variable ZEMRA_VIBRATION_KERNELS, "baseline", "avx2" or "avx512", asks for
/// an earlier one; a set that is not available is not taken, and another text is no choice.
KernelSet ChosenKernels();

/// Whether kernels of the set are part of the build and run on this processor.
bool IsAvailable(KernelSet set);

/// The table of a set; kernels of one that is not available must not be called.
template <typename Kernels>
const Kernels& OneOf(KernelSet set, const Kernels& baseline, const Kernels& avx2,
                     const Kernels& avx512) {
    if (set == KernelSet::kBaseline) return baseline;
    return set == KernelSet::kAvx2 ? avx2 : avx512;
}
/// The same for kernels that more registers make no faster.
template <typename Kernels>
const Kernels& OneOf(KernelSet set, const Kernels& baseline, const Kernels& avx2) {
    return OneOf(set, baseline, avx2, avx2);
}

}  // namespace ZEMRA::Vibration
