#include "bench/support/heap.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> held = 0, most = 0;

}  // namespace

// Replaced for the whole program; the other forms call these.
void* operator new(std::size_t size) {
    void* const p = std::malloc(std::max<std::size_t>(size, 1));
    if (!p) throw std::bad_alloc();
    most = std::max<std::size_t>(most, held += malloc_usable_size(p));
    return p;
}
void operator delete(void* p) noexcept {
    held -= malloc_usable_size(p);
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }

namespace ZEMRA::Vibration::bench {

std::size_t Heap::Held() { return held; }
std::size_t Heap::Most() { return most; }
void Heap::Mark() { most = held.load(); }

}  // namespace ZEMRA::Vibration::bench
