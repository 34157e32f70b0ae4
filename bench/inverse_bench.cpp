// The inverse of j·w·I − A beside factorisation and inverse by LAPACK, and beside our own
// elimination step by step.

#include "bench/support/sweep_problems.h"
#include "zemra/solver/matrix_inverse.h"

#ifdef ZEMRA_LAPACK
extern "C" {
void zgetrf_(const int* m, const int* n, std::complex<double>* a, const int* lda, int* pivots,
             int* info);
void zgetri_(const int* n, std::complex<double>* a, const int* lda, const int* pivots,
             std::complex<double>* work, const int* lwork, int* info);
}
#endif

namespace ZEMRA::Vibration::bench {
namespace {

Matrix2D<Complex> Dynamic(const Case& c) {
    const Eigen::MatrixXcd M = Problem(c).Dynamic(1);
    Matrix2D<Complex> core(c.n, c.n);
    for (int i = 0; i < c.n; ++i)
        for (int j = 0; j < c.n; ++j) core(i, j) = M(i, j);
    return core;
}

void Ours(benchmark::State& state, const Case& c) {
    const Matrix2D<Complex> M = Dynamic(c);
    for (auto _ : state) benchmark::DoNotOptimize(MatrixInverse2D<Complex>::Inverse(M));
}

void OursWritten(benchmark::State& state, const Case& c) {
    const Matrix2D<Complex> M = Dynamic(c);
    for (auto _ : state)
        benchmark::DoNotOptimize(MatrixInverse2D<Complex>::InverseByElimination(M));
}

#ifdef ZEMRA_LAPACK
void Peer(benchmark::State& state, const Case& c) {
    const Eigen::MatrixXcd M = Problem(c).Dynamic(1);
    const int n = c.n, lwork = 64 * n;
    std::vector<Complex> work(static_cast<std::size_t>(lwork));
    std::vector<int> pivots(static_cast<std::size_t>(n));
    for (auto _ : state) {
        Eigen::MatrixXcd X = M;
        int info = 0;
        zgetrf_(&n, &n, X.data(), &n, pivots.data(), &info);
        zgetri_(&n, X.data(), &n, pivots.data(), work.data(), &lwork, &info);
        benchmark::DoNotOptimize(X.data());
    }
}
#endif

const bool registered = [] {
    for (const bool chain : {false, true})
        for (const int n : {10, 20, 50, 100, 200, 400}) {
            const Case c{chain, n, 1, 1, kPeerFrequencies};
            const std::string name = "complex_inverse/" + c.Order();
            RegisterNamed(name, c, "ours", Ours);
            RegisterNamed(name, c, "ours_written", OursWritten);
#ifdef ZEMRA_LAPACK
            RegisterNamed(name, c, "zgetri", Peer);
#endif
        }
    return true;
}();

}  // namespace
}  // namespace ZEMRA::Vibration::bench
