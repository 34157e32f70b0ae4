#pragma once

#include <cstddef>

namespace ZEMRA::Vibration::bench {

/// What this program holds of the heap, and the most since the last mark, in bytes.
struct Heap {
    static std::size_t Held();
    static std::size_t Most();
    static void Mark();  // Most() starts again from Held()
};

}  // namespace ZEMRA::Vibration::bench
