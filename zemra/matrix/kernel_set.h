#pragma once

namespace ZEMRA::Vibration {

/// The instruction sets that the wide kernels are compiled for. A room's kernels stand in one
/// header, …_kernels_lanes.h, which a source per set includes to make its table of them; a
/// build for a processor without AVX2 makes both tables alike.
enum class KernelSet { kBaseline, kAvx2 };

/// The set of this process, chosen once, at the first question: AVX2 with fused multiply-add
/// where the processor has both, else what every processor of the architecture has. The
/// environment variable ZEMRA_VIBRATION_KERNELS, "baseline" or "avx2", overrules that; a set
/// that the processor or the build lacks is not taken, and another text is no choice.
KernelSet ChosenKernels();

/// Whether kernels of the set are part of the build and run on this processor.
bool IsAvailable(KernelSet set);

/// The table of a set; kernels of one that is not available must not be called.
template <typename Kernels>
const Kernels& OneOf(KernelSet set, const Kernels& baseline, const Kernels& avx2) {
    return set == KernelSet::kAvx2 ? avx2 : baseline;
}

}  // namespace ZEMRA::Vibration
