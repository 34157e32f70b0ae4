#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "tests/support/spectra.h"
#include "zemra/matrix/kernel_set.h"
#include "zemra/toolbox/fftpack/complex_to_complex.h"
#include "zemra/toolbox/fftpack/real_to_complex.h"

namespace fftpack::tests {
namespace {

using testing::ElementsAre;
using ZEMRA::Vibration::IsAvailable;
using ZEMRA::Vibration::KernelSet;
using Value = std::complex<double>;
using Exact = ZEMRA::Vibration::tests::Extended;
using ZEMRA::Vibration::tests::DefiningSum;
using RealTransform = real_to_complex<double, Value>;
using ComplexTransform = complex_to_complex<double, Value>;

constexpr double kEps = std::numeric_limits<double>::epsilon();

std::vector<Value> Noise(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    std::vector<Value> result(n);
    for (Value& z : result) {
        const double re = normal(random);
        z = {re, normal(random)};
    }
    return result;
}

std::vector<double> RealParts(const std::vector<Value>& z) {
    std::vector<double> result(z.size());
    std::transform(z.begin(), z.end(), result.begin(), [](Value v) { return v.real(); });
    return result;
}

std::vector<Value> Spectrum(ComplexTransform& transform, std::vector<Value> x) {
    transform.forward(x.data());
    return x;
}

std::vector<Value> Spectrum(RealTransform& transform, const std::vector<double>& x) {
    std::vector<Value> result(transform.n_complex());
    std::copy(x.begin(), x.end(), reinterpret_cast<double*>(result.data()));
    transform.forward_adaptor(result.data());
    return result;
}

// Root mean square of the errors over that of the spectrum.
double RelativeError(const std::vector<Exact>& expected, const std::vector<std::size_t>& lines,
                     const std::vector<Value>& actual) {
    long double error = 0, power = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        error += std::norm(Exact(actual[lines[i]]) - expected[i]);
        power += std::norm(expected[i]);
    }
    return static_cast<double>(std::sqrt(error / power));
}

// The errors of each of about log2 n steps are independent; the general pass sums as many terms
// as its radix, whose errors grow as its square root.
double Bound(std::size_t n) {
    return 4 * kEps * std::max(1.0, std::log2(static_cast<double>(n)));
}

std::vector<std::size_t> Lengths() {
    std::vector<std::size_t> result(130);
    std::iota(result.begin(), result.end(), 1U);
    for (const std::size_t n : {143U, 210U, 360U, 385U, 531U, 625U, 729U, 1001U, 1009U, 1024U,
                                3180U, 3481U, 10006U, 10007U, 59049U, 65536U, 1U << 20})
        result.push_back(n);
    return result;
}

// All of them, but of a long spectrum 64 chosen at random.
std::vector<std::size_t> SomeLines(std::size_t n, std::size_t count) {
    std::vector<std::size_t> result(n <= 1024 ? count : 64);
    std::iota(result.begin(), result.end(), 0U);
    if (result.size() == count) return result;
    std::mt19937 random(7);
    for (std::size_t& line : result)
        line = std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
    return result;
}

// The kernels that this processor can run.
std::vector<const kernels*> KernelSets() {
    std::vector<const kernels*> result{&baseline_kernels};
    if (IsAvailable(KernelSet::kAvx2)) result.push_back(&avx2_kernels);
    return result;
}

class Transforms : public testing::TestWithParam<std::size_t> {};

TEST_P(Transforms, GiveTheDefiningSum) {
    const std::size_t n = GetParam();
    const std::vector<Value> z = Noise(n, 1), other = Noise(n, 2);
    const std::vector<double> x = RealParts(z);
    const std::vector<std::size_t> lines = SomeLines(n, n), realLines = SomeLines(n, n / 2 + 1);
    const std::vector<Exact> exactZ = DefiningSum(z, lines), exactX = DefiningSum(x, realLines);
    for (const kernels* const set : KernelSets()) {
        SCOPED_TRACE(set == &baseline_kernels ? "baseline" : "wide");
        ComplexTransform ofComplex(n, *set);
        const std::vector<Value> Z = Spectrum(ofComplex, z);
        EXPECT_LT(RelativeError(exactZ, lines, Z), Bound(n));

        RealTransform ofReal(n, *set);
        const std::vector<Value> X = Spectrum(ofReal, x);
        ASSERT_EQ(X.size(), n / 2 + 1);
        EXPECT_LT(RelativeError(exactX, realLines, X), Bound(n));

        std::vector<double> packed = x;
        ofReal.forward_compressed(packed.data());
        EXPECT_EQ(X[0], packed[0]);
        for (std::size_t k = 1; k <= (n - 1) / 2; ++k)
            ASSERT_EQ(X[k], Value(packed[2 * k - 1], packed[2 * k])) << k;
        EXPECT_EQ(X[n / 2].real(), n % 2 == 0 || n == 1 ? packed[n - 1] : packed[n - 2]);

        // A transform leaves nothing behind for the next one, and keeps the energy.
        Spectrum(ofComplex, other);
        EXPECT_EQ(Spectrum(ofComplex, z), Z);
        double energy = 0, spectral = 0, ofX = 0, ofSpectrumX = 0;
        for (std::size_t k = 0; k < n; ++k) {
            energy += std::norm(z[k]);
            spectral += std::norm(Z[k]);
            ofX += x[k] * x[k];
            ofSpectrumX += std::norm(X[std::min(k, n - k)]);
        }
        EXPECT_NEAR(spectral / energy / static_cast<double>(n), 1, 4 * Bound(n));
        EXPECT_NEAR(ofSpectrumX / ofX / static_cast<double>(n), 1, 4 * Bound(n));
    }
}

INSTANTIATE_TEST_SUITE_P(Lengths, Transforms, testing::ValuesIn(Lengths()),
                         [](const auto& length) { return std::to_string(length.param); });

TEST(Factorization, OrdersTheFactorsForThePasses) {
    const auto factors = [](std::size_t n, bool real) {
        return factorization(n, real).factors();
    };
    for (const bool real : {false, true}) {
        EXPECT_THAT(factors(0, real), ElementsAre());
        EXPECT_THAT(factors(1, real), ElementsAre());
        EXPECT_THAT(factors(7, real), ElementsAre(7));
        EXPECT_THAT(factors(8, real), ElementsAre(2, 4));
        EXPECT_THAT(factors(1024, real), ElementsAre(4, 4, 4, 4, 4));
        EXPECT_THAT(factors(6050, real), ElementsAre(2, 5, 5, 11, 11));
        EXPECT_THAT(factors(2147483647, real), ElementsAre(2147483647));
    }
    EXPECT_THAT(factors(360, false), ElementsAre(2, 3, 3, 4, 5));
    EXPECT_THAT(factors(360, true), ElementsAre(2, 4, 3, 3, 5));
}

// Small cases by hand, with a guard behind the 2·(n/2 + 1) values.
TEST(RealToComplex, AdaptsItsResultWithinItsBuffer) {
    const auto adapted = [](std::size_t n, std::vector<double> x) {
        RealTransform(n).forward_adaptor(x.data());
        return x;
    };
    EXPECT_THAT(adapted(0, {5, 6, 9}), ElementsAre(5, 6, 9));
    EXPECT_THAT(adapted(1, {5, 6, 9}), ElementsAre(5, 0, 9));
    EXPECT_THAT(adapted(2, {5, 3, 6, 6, 9}), ElementsAre(8, 0, 2, 0, 9));
    EXPECT_THAT(adapted(4, {1, 0, 0, 0, 6, 6, 9}), ElementsAre(1, 0, 1, 0, 1, 0, 9));
    EXPECT_EQ(adapted(3, {1, 1, 1, 6, 9}).back(), 9);
}

TEST(ComplexToComplex, LeavesLengthsBelowTwoAlone) {
    for (const std::size_t n : {0U, 1U}) {
        std::vector<double> x{5, 6, 9};
        ComplexTransform(n).forward(x.data());
        EXPECT_THAT(x, ElementsAre(5, 6, 9));
    }
    EXPECT_DOUBLE_EQ(ComplexTransform::deg_as_rad(60), std::acos(0.5));
}

}  // namespace
}  // namespace fftpack::tests
