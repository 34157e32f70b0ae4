#pragma once

#include <cstddef>
#include <cstdint>

namespace Fuzz {

/// Plays one input and returns the digest of the answers. Each fuzz target defines it once;
/// libFuzzer and the replay call it.
std::uint64_t Play(const std::uint8_t* data, std::size_t size);

/// Ends the process, with the reason: what a target reports a broken promise with.
[[noreturn]] void Broken(const char* promise);

/// Whether the input just played left the library without a message handler, so that it was
/// free to write to the standard streams.
bool MayHaveWritten();
void AllowWriting(bool allowed);

/// Whether blocks above 16 MiB are refused.
void BoundMemory(bool on);

/// Blocks on the heap and their bytes, as far as the bounded operator new handed them out.
struct HeapUse {
    long long blocks, bytes;
};
HeapUse InUse();

/// Lets the allocation of that number from here on fail, counting from 1.
void FailAllocation(int number);
/// Whether it has; none will any more.
bool AllocationFailed();

}  // namespace Fuzz
