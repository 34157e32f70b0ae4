#include "zemra/toolbox/fftpack/unit_circle.h"

#include <type_traits>

namespace fftpack {

unit_circle::unit_circle(std::size_t n, const kernels& set)
    : order_(n), places_(set.places), values_(2 * n) {
    if (n == 0) return;
    std::size_t known = (n % 4 == 0 ? n / 8 : n % 2 == 0 ? n / 4 : n / 2) + 1;
    set.roots(n, known, values_.data());
    double* const z = values_.data();
    if (n % 4 == 0)
        for (; known <= n / 4; ++known) {
            z[2 * known] = z[n / 2 - 2 * known + 1];
            z[2 * known + 1] = z[n / 2 - 2 * known];
        }
    if (n % 2 == 0)
        for (; known <= n / 2; ++known) {
            z[2 * known] = -z[n - 2 * known];
            z[2 * known + 1] = z[n - 2 * known + 1];
        }
    for (; known < n; ++known) {
        z[2 * known] = z[2 * (n - known)];
        z[2 * known + 1] = -z[2 * (n - known) + 1];
    }
}

void unit_circle::copy(std::size_t step, std::size_t count, double* table) const {
    for (std::size_t i = 0; i < count; ++i) copy(i * step, table + 2 * i);
}

void unit_circle::copy_twiddles(std::size_t radix, std::size_t ido, double* table) const {
    const std::size_t unit = order_ / (radix * ido);
    const auto place = [&](std::size_t k, auto count) {
        for (std::size_t j = 1; j < radix; ++j)
            for (std::size_t i = 0; i < count(); ++i, table += 2)
                copy(unit * j * (k + i), table);
    };
    std::size_t k = 0;
    if (places_ == 2)  // where the inner loop is worth unrolling
        for (; k + 2 <= ido; k += 2) place(k, std::integral_constant<std::size_t, 2>());
    for (; k < ido; ++k) place(k, std::integral_constant<std::size_t, 1>());
}

}  // namespace fftpack
