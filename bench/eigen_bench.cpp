// Eigenvalues and eigenvectors of one matrix beside LAPACK's dgeev.
//
// Compare times of one run only, and let it take turns and the least of several repetitions:
//   OPENBLAS_NUM_THREADS=1 eigen_bench --benchmark_enable_random_interleaving=true
//       --benchmark_repetitions=5

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/support/dense_families.h"
#include "zemra/eigen/eigen.h"

#ifdef ZEMRA_LAPACK
extern "C" void dgeev_(const char* left, const char* right, const int* n, double* a,
                       const int* lda, double* wr, double* wi, double* vl, const int* ldvl,
                       double* vr, const int* ldvr, double* work, const int* lwork, int* info);
#endif

namespace {

using namespace ZEMRA::Vibration;

struct Case {
    bench::Family family;
    int n;
    bool withVectors;
};

// The matrix copied, solved and the eigenvalues sorted, as EigenProblem does it.
void Ours(benchmark::State& state, const Case& c) {
    const Matrix2D<double> A = bench::MatrixOf(c.family, c.n);
    for (auto _ : state) {
        Eigen<double> solver(A, c.withVectors);
        solver.SortEigenValues();
        benchmark::DoNotOptimize(solver.GetE().Data());
    }
}

#ifdef ZEMRA_LAPACK
void Lapack(benchmark::State& state, const Case& c) {
    const Matrix2D<double> A = bench::MatrixOf(c.family, c.n);
    const auto n = static_cast<std::size_t>(c.n);
    const char vectors = c.withVectors ? 'V' : 'N';
    std::vector<double> columns, wr(n), wi(n), v(n * n), work(1);
    for (int j = 0; j < c.n; ++j)
        for (int i = 0; i < c.n; ++i) columns.push_back(A(i, j));
    int lwork = -1, info = 0;
    const int one = 1;
    const auto solve = [&](double* a) {
        dgeev_("N", &vectors, &c.n, a, &c.n, wr.data(), wi.data(), nullptr, &one, v.data(),
               &c.n, work.data(), &lwork, &info);
    };
    solve(columns.data());  // asks for the work space
    lwork = static_cast<int>(work[0]);
    work.resize(static_cast<std::size_t>(lwork));
    for (auto _ : state) {
        std::vector<double> a = columns;
        solve(a.data());
        benchmark::DoNotOptimize(wr.data());
    }
}
#endif

void Register(const char* who, void (*run)(benchmark::State&, const Case&), const Case& c) {
    const std::string name = std::string(c.withVectors ? "eigen_vectors/" : "eigen_values/") +
                             bench::NameOf(c.family) + "/n:" + std::to_string(c.n) + "/" + who;
    benchmark::RegisterBenchmark(name.c_str(), run, c)->Unit(benchmark::kMicrosecond);
}

[[maybe_unused]] const bool registered = [] {
    for (const bool withVectors : {true, false})
        for (const auto family : {bench::Family::kDense, bench::Family::kChain})
            for (const int n : {10, 20, 50, 100, 200, 400, 800}) {
                const Case c{family, n, withVectors};
                Register("ours", Ours, c);
#ifdef ZEMRA_LAPACK
                Register("dgeev", Lapack, c);
#endif
            }
    return true;
}();

}  // namespace
