#include "zemra/toolbox/fftpack/prime_sums.h"

#include <algorithm>

#include "zemra/toolbox/fftpack/array_view.h"
#include "zemra/toolbox/fftpack/factorization.h"
#include "zemra/toolbox/fftpack/passes.h"

namespace fftpack {

namespace {

// From here on a convolution takes less time, by measurement.
constexpr std::size_t kLeastLong = 50;

std::uint64_t power(std::uint64_t base, std::uint64_t exponent, std::uint64_t p) {
    std::uint64_t result = 1;
    for (; exponent > 0; exponent /= 2, base = base * base % p)
        if (exponent % 2 == 1) result = result * base % p;
    return result;
}

// The least g whose powers are all the numbers from 1 to p − 1.
std::uint64_t primitive_root(std::uint64_t p) {
    const std::vector<int> factors = factorization(p - 1, false).factors();
    for (std::uint64_t g = 2;; ++g)
        if (std::all_of(factors.begin(), factors.end(), [&](int f) {
                const auto prime = static_cast<std::uint64_t>(f == 4 ? 2 : f);
                return power(g, (p - 1) / prime, p) != 1;
            }))
            return g;
}

// The least 8·2^a·3^b·5^c that is not below n.
std::size_t smooth_length(std::size_t n) {
    for (std::size_t candidate = (n + 7) / 8;; ++candidate) {
        std::size_t rest = candidate;
        for (const std::size_t factor : {2U, 3U, 5U})
            while (rest % factor == 0) rest /= factor;
        if (rest == 1) return 8 * candidate;
    }
}

}  // namespace

// Place t stands for the power gᵗ, which is taken as p less itself when above p/2: that changes
// the sign of a difference and of a sine sum. So does g^count = −1, count = (p − 1)/2.
struct prime_sums::convolution {
    struct place {
        std::uint32_t index, mirror;
        double sign;
    };
    const kernels& set;
    std::size_t count, length;
    std::vector<place> places;  // 0 … count
    passes transform;
    std::vector<double> own, mirrored;  // what multiplies a spectrum and its mirror
    std::vector<double> values;
    work_array<double> work;

    convolution(std::size_t p, const double* roots, const kernels& chosen);
    void spectra_of_roots(const double* roots);
    void run(std::size_t columns, const double* terms, double* lines);
};

prime_sums::convolution::convolution(std::size_t p, const double* roots, const kernels& chosen)
    : set(chosen),
      count(p / 2),
      length(smooth_length(2 * count - 1)),
      transform(factorization(length, false).factors(), unit_circle(length, chosen), chosen),
      own(2 * length),
      mirrored(2 * length),
      values(2 * length),
      work(2 * length) {
    const std::uint64_t g = primitive_root(p);
    places.reserve(count + 1);
    std::uint64_t power = 1;
    for (std::size_t t = 0; t <= count; ++t, power = power * g % p) {
        const auto a = static_cast<std::uint32_t>(power), b = static_cast<std::uint32_t>(p) - a;
        places.push_back(a < b ? place{a, b, 1.0} : place{b, a, -1.0});
    }
    spectra_of_roots(roots);
}

// Line g^(−r) takes the value at place t times the root of g^(t−r), which stands at r − t here.
void prime_sums::convolution::spectra_of_roots(const double* roots) {
    const double scale = 1.0 / static_cast<double>(length);
    const auto put = [&](std::size_t at, const place& power, double sign) {
        const double* const root = roots + std::size_t{2} * power.index;
        values[2 * at] = scale * root[0];
        values[2 * at + 1] = scale * sign * power.sign * root[1];
    };
    for (std::size_t t = 0; t < count; ++t) put(t, places[count - t], -1.0);
    for (std::size_t t = 1; t < count; ++t) put(length - t, places[t], 1.0);
    const double* const P = transform.run(1, values.data(), work.data(), nullptr);
    // With C the spectrum of the cosines and S that of the sines, P = C + i·S and its mirrored
    // conjugate is C − i·S. As half of a column's Z + Z* belongs to the sums and half of Z − Z*
    // to the differences, C and S make Z·(C + S)/2 + Z*·(C − S)/2.
    for (std::size_t f = 0; f < length; ++f) {
        const double *const z = P + 2 * f, *const m = P + 2 * ((length - f) % length);
        const double cRe = 0.25 * (z[0] + m[0]), cIm = 0.25 * (z[1] - m[1]);
        const double sRe = 0.25 * (z[1] + m[1]), sIm = 0.25 * (m[0] - z[0]);
        own[2 * f] = cRe + sRe;
        own[2 * f + 1] = cIm + sIm;
        mirrored[2 * f] = cRe - sRe;
        mirrored[2 * f + 1] = cIm - sIm;
    }
}

void prime_sums::convolution::run(std::size_t columns, const double* terms, double* lines) {
    for (std::size_t c = 0; c < columns; ++c) {
        const double* const x = terms + c;
        double* const y = lines + c;
        for (std::size_t t = 0; t < count; ++t) {
            const auto& [index, mirror, sign] = places[t];
            values[2 * t] = x[index * columns];
            values[2 * t + 1] = sign * x[mirror * columns];
        }
        std::fill(values.begin() + static_cast<std::ptrdiff_t>(2 * count), values.end(), 0.0);
        double* const Z = transform.run(1, values.data(), work.data(), nullptr);
        y[0] = x[0] + Z[0];
        double* const other = Z == values.data() ? work.data() : values.data();
        set.multiply_spectra(length, own.data(), mirrored.data(), Z, other);
        // The conjugate of what was asked for.
        const double* const result = transform.run(1, other, Z, nullptr);
        for (std::size_t r = 0; r < count; ++r) {
            const auto& [index, mirror, sign] = places[count - r];
            y[index * columns] = x[0] + result[2 * r];
            y[mirror * columns] = sign * result[2 * r + 1];
        }
    }
}

prime_sums::prime_sums(std::size_t p, const unit_circle& circle, const kernels& set)
    : p_(p), kernels_(&set), roots_(2 * p) {
    circle.copy(circle.order() / p, p, roots_.data());
    if (p >= kLeastLong) long_ = std::make_unique<convolution>(p_, roots_.data(), set);
}
prime_sums::prime_sums(prime_sums&&) noexcept = default;
prime_sums::~prime_sums() = default;

void prime_sums::run(std::size_t columns, const double* terms, double* lines) {
    if (long_)
        long_->run(columns, terms, lines);
    else
        kernels_->sums(p_, columns, terms, lines, roots_.data());
}

}  // namespace fftpack
