#pragma once

namespace ZEMRA::Vibration {

/// How a model answers a vector of frequencies.
enum class SweepRoad {
    kFast,  // several frequencies side by side; in state-space form whichever of the next two
            // pays, and elimination again where they are not sure
    kReduced,  // in state-space form the Hessenberg form, whatever it costs
    kDense,    // in state-space form elimination with row pivoting, side by side
    kWritten   // frequency by frequency: what the other roads are measured by
};

}  // namespace ZEMRA::Vibration
