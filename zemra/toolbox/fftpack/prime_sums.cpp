#include "zemra/toolbox/fftpack/prime_sums.h"

#include <algorithm>

#include "zemra/toolbox/fftpack/factorization.h"
#include "zemra/toolbox/fftpack/passes.h"

namespace fftpack {

namespace {

// From here on a convolution takes less time, by measurement.
constexpr int kLeastLong = 50;

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

// Place t stands for the power gᵗ, t < count = (p − 1)/2. A power above p/2 is taken as its
// negative, which changes the sign of a difference and of a sine sum; so does g^count = −1.
struct prime_sums::convolution {
    struct place {
        std::size_t index;
        double sign;
    };
    std::size_t count, length;
    std::vector<place> places;
    passes transform;
    std::vector<double> own, mirrored;  // a and b of product
    std::vector<double> values, work;

    convolution(std::size_t p, const double* roots, const kernels& set);
    void spectrum_of_roots(const double* roots);
    void run(std::size_t p, std::size_t columns, const double* terms, double* lines);
    void product(const double* Z, double* result) const;
};

prime_sums::convolution::convolution(std::size_t p, const double* roots, const kernels& set)
    : count(p / 2),
      length(smooth_length(2 * count - 1)),
      transform(factorization(length, false).factors(), set),
      own(2 * length),
      mirrored(2 * length),
      values(2 * length),
      work(2 * length) {
    const std::uint64_t g = primitive_root(p);
    places.reserve(count);
    std::size_t power = 1;
    for (std::size_t t = 0; t < count; ++t, power = power * g % p)
        places.push_back(power > count ? place{p - power, -1.0} : place{power, 1.0});
    spectrum_of_roots(roots);
}

// Place r of the result takes place t with the root of g^(t−r), for which stands r − t here.
void prime_sums::convolution::spectrum_of_roots(const double* roots) {
    const double scale = 1.0 / static_cast<double>(length);
    const auto put = [&](std::size_t at, const place& power, double sign) {
        values[2 * at] = scale * roots[2 * power.index];
        values[2 * at + 1] = scale * sign * power.sign * roots[2 * power.index + 1];
    };
    put(0, places[0], 1.0);
    for (std::size_t t = 1; t < count; ++t) {
        put(length - t, places[t], 1.0);
        put(t, places[count - t], -1.0);
    }
    const double* const P = transform.run(1, values.data(), work.data(), nullptr);
    // The spectrum C of the cosines and S of the sines: P = C + i·S, and the mirrored conjugate
    // of P is C − i·S. own is (C + S)/2, mirrored (C − S)/2.
    for (std::size_t f = 0; f < length; ++f) {
        const double *const z = P + 2 * f, *const m = P + 2 * ((length - f) % length);
        const double cRe = 0.5 * (z[0] + m[0]), cIm = 0.5 * (z[1] - m[1]);
        const double sRe = 0.5 * (z[1] + m[1]), sIm = -0.5 * (z[0] - m[0]);
        own[2 * f] = 0.5 * (cRe + sRe);
        own[2 * f + 1] = 0.5 * (cIm + sIm);
        mirrored[2 * f] = 0.5 * (cRe - sRe);
        mirrored[2 * f + 1] = 0.5 * (cIm - sIm);
    }
}

// The conjugate of own·Z + mirrored·Z*, Z* the mirrored conjugate of Z: the cosines meet the
// part of Z that belongs to the sums, (Z + Z*)/2, the sines the rest.
void prime_sums::convolution::product(const double* Z, double* result) const {
    const auto line = [&](std::size_t f, std::size_t mirror) {
        const double *const z = Z + 2 * f, *const m = Z + 2 * mirror;
        const double *const a = own.data() + 2 * f, *const b = mirrored.data() + 2 * f;
        result[2 * f] = (a[0] * z[0] - a[1] * z[1]) + (b[0] * m[0] + b[1] * m[1]);
        result[2 * f + 1] = (b[0] * m[1] - b[1] * m[0]) - (a[0] * z[1] + a[1] * z[0]);
    };
    line(0, 0);
    for (std::size_t f = 1; f < length; ++f) line(f, length - f);
}

void prime_sums::convolution::run(std::size_t p, std::size_t columns, const double* terms,
                                  double* lines) {
    for (std::size_t c = 0; c < columns; ++c) {
        const double* const x = terms + c;
        double* const y = lines + c;
        double sum = x[0];
        for (std::size_t t = 0; t < count; ++t) {
            const auto& [index, sign] = places[t];
            values[2 * t] = x[index * columns];
            values[2 * t + 1] = sign * x[(p - index) * columns];
            sum += x[index * columns];
        }
        y[0] = sum;
        std::fill(values.begin() + static_cast<std::ptrdiff_t>(2 * count), values.end(), 0.0);
        double* Z = transform.run(1, values.data(), work.data(), nullptr);
        double* const other = Z == values.data() ? work.data() : values.data();
        product(Z, other);
        const double* const result = transform.run(1, other, Z, nullptr);
        for (std::size_t r = 0; r < count; ++r) {
            const auto& [index, sign] = places[r == 0 ? 0 : count - r];
            y[index * columns] = x[0] + result[2 * r];
            y[(p - index) * columns] = (r == 0 ? -sign : sign) * result[2 * r + 1];
        }
    }
}

prime_sums::prime_sums(int p, const kernels& set)
    : p_(static_cast<std::size_t>(p)), kernels_(&set), roots_(2 * p_) {
    set.roots(p_, 1, 0, p_, roots_.data());
    if (p >= kLeastLong) long_ = std::make_unique<convolution>(p_, roots_.data(), set);
}
prime_sums::prime_sums(prime_sums&&) noexcept = default;
prime_sums::~prime_sums() = default;

void prime_sums::run(std::size_t columns, const double* terms, double* lines) {
    if (long_)
        long_->run(p_, columns, terms, lines);
    else
        kernels_->sums(p_, columns, terms, lines, roots_.data());
}

}  // namespace fftpack
