// The heap of a host with little memory: while an input is played a block above 16 MiB, as a
// hostile size asks for, is refused at once, where a real machine might fill its memory first,
// and so is all beyond 256 MiB. Counts what is in use.

#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

#include "fuzz/target.h"

namespace {

constexpr std::size_t kLargestBlock = std::size_t{1} << 24;
constexpr long long kMostBytes = 1ll << 28;

std::atomic<long long> blocks = 0, bytes = 0;
bool mayWrite = false, bounded = false;

// Allocations to go until one fails; 0 for none, −1 once it has.
int untilFailure = 0;

// Null when memory is short.
void* TryToAllocate(std::size_t size) {
    if (untilFailure > 0 && --untilFailure == 0) {
        untilFailure = -1;
        return nullptr;
    }
    const bool refused = bounded && (size > kLargestBlock || bytes > kMostBytes);
    void* const block = refused ? nullptr : std::malloc(size ? size : 1);
    if (!block) return nullptr;
    ++blocks;
    bytes += static_cast<long long>(malloc_usable_size(block));
    return block;
}

void* Allocate(std::size_t size) {
    void* const block = TryToAllocate(size);
    if (!block) throw std::bad_alloc();
    return block;
}

void Release(void* block) noexcept {
    if (!block) return;
    --blocks;
    bytes -= static_cast<long long>(malloc_usable_size(block));
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return TryToAllocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return TryToAllocate(size);
}
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }

namespace Fuzz {

HeapUse InUse() { return {blocks, bytes}; }

void FailAllocation(int number) { untilFailure = number; }

bool AllocationFailed() { return std::exchange(untilFailure, 0) < 0; }

void Broken(const char* promise) {
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

bool MayHaveWritten() { return mayWrite; }
void BoundMemory(bool on) { bounded = on; }

void AllowWriting(bool allowed) { mayWrite = allowed; }

}  // namespace Fuzz

#ifdef ZEMRA_LIBFUZZER
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::Play(data, size);
    return 0;
}
#endif
