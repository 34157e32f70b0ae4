#include <benchmark/benchmark.h>

#include <Eigen/Dense>

#include "zemra/system/force_system_ss.h"

namespace {

using namespace ZEMRA::Vibration;

constexpr int kFrequencies = 16;

// A damped chain of unit masses and springs, fixed at one end, driven and observed at the
// other; n states.
Matrix2D<double> ChainStateMatrix(int n) {
    const int masses = n / 2;
    Matrix2D<double> A(n, n);
    for (int i = 0; i < masses; ++i) {
        A(i, masses + i) = 1.0;
        for (int j = std::max(0, i - 1); j <= std::min(masses - 1, i + 1); ++j) {
            const double k = i == j ? (i == masses - 1 ? 1.0 : 2.0) : -1.0;
            A(masses + i, j) = -k;
            A(masses + i, masses + j) = -0.01 * k;
        }
    }
    return A;
}

Matrix1D<double> Frequencies() {
    Matrix1D<double> w(kFrequencies);
    for (int k = 0; k < kFrequencies; ++k) w(k) = 0.1 * (k + 1);
    return w;
}

struct Chain {
    explicit Chain(int n) : A(ChainStateMatrix(n)), B(n, 1), C(1, n), D(1, 1) {
        B(n - 1, 0) = 1.0;
        C(0, n / 2 - 1) = 1.0;
    }
    Matrix2D<double> A, B, C, D;
};

// A sweep of 16 frequencies of a model built anew: a model answers a repeated sweep from its
// cache.
void BM_StateSpaceSweep(benchmark::State& state) {
    const Chain chain(static_cast<int>(state.range(0)));
    const Matrix1D<double> w = Frequencies();
    const Actuator force;
    const Matrix1D<const Actuator*> actuators(1, &force);
    for (auto _ : state) {
        ForceSystemSS model(0.0, chain.A, chain.B, chain.C, chain.D, actuators);
        benchmark::DoNotOptimize(&model.TransferFunction(w));
    }
    state.SetComplexityN(state.range(0));
}

// The same by one LU solve a frequency.
void BM_StateSpaceSweepPeer(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Chain chain(n);
    const Matrix1D<double> w = Frequencies();
    Eigen::MatrixXcd A(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) A(i, j) = chain.A(i, j);
    const Eigen::VectorXcd b = Eigen::VectorXcd::Unit(n, n - 1);
    for (auto _ : state) {
        for (int k = 0; k < kFrequencies; ++k) {
            Eigen::MatrixXcd M = -A;
            M.diagonal().array() += Complex(0.0, w(k));
            const Eigen::VectorXcd x = M.partialPivLu().solve(b);
            benchmark::DoNotOptimize(x(n / 2 - 1));
        }
    }
    state.SetComplexityN(n);
}

BENCHMARK(BM_StateSpaceSweep)
    ->RangeMultiplier(2)
    ->Range(8, 128)
    ->Complexity(benchmark::oNCubed);
BENCHMARK(BM_StateSpaceSweepPeer)
    ->RangeMultiplier(2)
    ->Range(8, 128)
    ->Complexity(benchmark::oNCubed);

}  // namespace
