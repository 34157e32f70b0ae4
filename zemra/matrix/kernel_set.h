#pragma once

namespace ZEMRA::Vibration {

/// The instruction sets that the wide kernels are compiled for, each in a source of its own. A
/// table of kernels lists one entry per set; only the entry of the chosen set may be called.
enum class KernelSet { kBaseline, kAvx2 };

/// The set of this process, chosen once, at the first question: AVX2 with fused multiply-add
/// where the processor has both, else what every processor of the architecture has. The
/// environment variable ZEMRA_VIBRATION_KERNELS, "baseline" or "avx2", overrules that; a set
/// that the processor or the build lacks is not taken, and another text is no choice.
KernelSet ChosenKernels();

/// Whether kernels of the set are part of the build and run on this processor.
bool IsAvailable(KernelSet set);

}  // namespace ZEMRA::Vibration
