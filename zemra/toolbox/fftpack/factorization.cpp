#include "zemra/toolbox/fftpack/factorization.h"

namespace fftpack {

namespace {

// Divides out factor as often as it goes and returns how often that was.
std::size_t divide_out(std::uint64_t factor, std::uint64_t& remainder) {
    std::size_t count = 0;
    for (; remainder % factor == 0; ++count) remainder /= factor;
    return count;
}

}  // namespace

factorization::factorization(std::size_t n, bool real) : n_(n) {
    if (n < 2) return;
    std::uint64_t remainder = n;
    const std::size_t threes = divide_out(3, remainder);
    const std::size_t fours = divide_out(4, remainder);
    const std::size_t twos = divide_out(2, remainder);
    const auto append = [this](std::size_t count, std::uint64_t factor) {
        factors_.insert(factors_.end(), count, static_cast<int>(factor));
    };
    append(twos, 2);
    if (real) append(fours, 4);
    append(threes, 3);
    if (!real) append(fours, 4);
    for (std::uint64_t j = 5; j * j <= remainder; j += 2) append(divide_out(j, remainder), j);
    if (remainder > 1) append(1, remainder);
}

}  // namespace fftpack
