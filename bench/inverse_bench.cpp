#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <random>

#include "zemra/solver/matrix_inverse.h"

namespace {

using namespace ZEMRA::Vibration;

Matrix2D<Complex> RandomMatrix(int n) {
    std::mt19937 generator(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Matrix2D<Complex> A(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) A(i, j) = {uniform(generator), uniform(generator)};
    return A;
}

void BM_ComplexInverse(benchmark::State& state) {
    const Matrix2D<Complex> A = RandomMatrix(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(MatrixInverse2D<Complex>::Inverse(A));
    state.SetComplexityN(state.range(0));
}

void BM_ComplexInversePeer(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix2D<Complex> A = RandomMatrix(n);
    Eigen::MatrixXcd M(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) M(i, j) = A(i, j);
    for (auto _ : state) benchmark::DoNotOptimize(Eigen::MatrixXcd(M.partialPivLu().inverse()));
    state.SetComplexityN(state.range(0));
}

BENCHMARK(BM_ComplexInverse)->RangeMultiplier(2)->Range(8, 256)->Complexity(benchmark::oNCubed);
BENCHMARK(BM_ComplexInversePeer)
    ->RangeMultiplier(2)
    ->Range(8, 256)
    ->Complexity(benchmark::oNCubed);

}  // namespace
