// State-space sweeps beside a dense complex solution a frequency.
//
// Compare times of one run only, and let it take turns and the least of several repetitions:
//   OPENBLAS_NUM_THREADS=1 sweep_bench --benchmark_enable_random_interleaving=true
//       --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
// Every benchmark counts its time per frequency.

#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <algorithm>
#include <random>
#include <string>

#include "zemra/system/force_system_ss.h"

#ifdef ZEMRA_LAPACK
extern "C" {
void zgesv_(const int* n, const int* m, std::complex<double>* a, const int* lda, int* pivots,
            std::complex<double>* b, const int* ldb, int* info);
void zgetrf_(const int* m, const int* n, std::complex<double>* a, const int* lda, int* pivots,
             int* info);
void zgetri_(const int* n, std::complex<double>* a, const int* lda, const int* pivots,
             std::complex<double>* work, const int* lwork, int* info);
}
#endif

namespace {

using namespace ZEMRA::Vibration;

// Peers are timed on a few frequencies of the sweep.
constexpr int kPeerFrequencies = 4;

Eigen::MatrixXd Random(int nrows, int ncols, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    return Eigen::MatrixXd::NullaryExpr(nrows, ncols, [&] { return uniform(generator); });
}

Matrix2D<double> ToCore(const Eigen::MatrixXd& m) {
    Matrix2D<double> core(static_cast<int>(m.rows()), static_cast<int>(m.cols()));
    for (int i = 0; i < core.Size(0); ++i)
        for (int j = 0; j < core.Size(1); ++j) core(i, j) = m(i, j);
    return core;
}

struct Case {
    bool chain;
    int n, m, frequencies;

    std::string Name() const {
        return std::string(chain ? "/chain" : "/dense") + "/n:" + std::to_string(n) +
               "/inputs:" + std::to_string(m) + "/frequencies:" + std::to_string(frequencies);
    }
};

// Of n states, m inputs and m outputs: a damped chain of unit masses and springs, fixed at one
// end, with the inputs and the outputs spread over the masses; or random numbers, with the
// eigenvalues moved to the left half plane.
struct Problem {
    explicit Problem(const Case& c)
        : A(c.chain ? Chain(c.n)
                    : Random(c.n, c.n, 1) -
                          1.2 * std::sqrt(c.n / 3.0) * Eigen::MatrixXd::Identity(c.n, c.n)),
          B(c.chain ? Eigen::MatrixXd::Zero(c.n, c.m) : Random(c.n, c.m, 2)),
          C(c.chain ? Eigen::MatrixXd::Zero(c.m, c.n) : Random(c.m, c.n, 3)),
          w(c.frequencies) {
        const int masses = c.n / 2;
        for (int i = 0; c.chain && i < c.m; ++i) {
            B(c.n - 1 - i * masses / c.m, i) = 1.0;
            C(i, i * masses / c.m) = 1.0;
        }
        const double highest = c.chain ? 2.2 : 1.2 * std::sqrt(c.n / 3.0);
        for (int k = 0; k < c.frequencies; ++k) w(k) = highest * (k + 1) / c.frequencies;
    }

    static Eigen::MatrixXd Chain(int n) {
        const int masses = n / 2;
        Eigen::MatrixXd A = Eigen::MatrixXd::Zero(n, n);
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

    ForceSystemSS Model() const {
        static const Actuator force;
        const int m = static_cast<int>(B.cols());
        return {0.0,
                ToCore(A),
                ToCore(B),
                ToCore(C),
                Matrix2D<double>(m, m),
                Matrix1D<const Actuator*>(m, &force)};
    }
    Eigen::MatrixXcd Dynamic(int k) const {
        Eigen::MatrixXcd M = (-A).cast<Complex>();
        M.diagonal().array() += Complex(0.0, w(k * w.Size(0) / kPeerFrequencies));
        return M;
    }

    Eigen::MatrixXd A, B, C;
    Matrix1D<double> w;
};

void CountFrequencies(benchmark::State& state, int count) {
    state.counters["per_frequency"] = benchmark::Counter(
        count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// From the matrices to the transfer function: a model answers a repeated sweep from its cache.
void WholeSweep(benchmark::State& state, const Case& c) {
    const Problem problem(c);
    for (auto _ : state) {
        ForceSystemSS model = problem.Model();
        benchmark::DoNotOptimize(&model.TransferFunction(problem.w));
    }
    CountFrequencies(state, c.frequencies);
}

// Another sweep of the same model.
void Sweep(benchmark::State& state, const Case& c) {
    Problem problem(c);
    ForceSystemSS model = problem.Model();
    model.TransferFunction(problem.w);
    for (auto _ : state) {
        problem.w(0) *= 1.0 + 1e-9;
        benchmark::DoNotOptimize(&model.TransferFunction(problem.w));
    }
    CountFrequencies(state, c.frequencies);
}

void EigenSolve(benchmark::State& state, const Case& c) {
    const Problem problem(c);
    const Eigen::MatrixXcd B = problem.B.cast<Complex>();
    for (auto _ : state)
        for (int k = 0; k < kPeerFrequencies; ++k) {
            const Eigen::MatrixXcd H =
                problem.C * Eigen::MatrixXcd(problem.Dynamic(k).partialPivLu().solve(B));
            benchmark::DoNotOptimize(H.data());
        }
    CountFrequencies(state, kPeerFrequencies);
}

#ifdef ZEMRA_LAPACK
void LapackSolve(benchmark::State& state, const Case& c) {
    const Problem problem(c);
    std::vector<int> pivots(static_cast<std::size_t>(c.n));
    int info = 0;
    for (auto _ : state)
        for (int k = 0; k < kPeerFrequencies; ++k) {
            Eigen::MatrixXcd M = problem.Dynamic(k), X = problem.B.cast<Complex>();
            zgesv_(&c.n, &c.m, M.data(), &c.n, pivots.data(), X.data(), &c.n, &info);
            const Eigen::MatrixXcd H = problem.C * X;
            benchmark::DoNotOptimize(H.data());
        }
    CountFrequencies(state, kPeerFrequencies);
}

void LapackInverse(benchmark::State& state, const Case& c) {
    const Problem problem(c);
    const int lwork = 64 * c.n;
    std::vector<int> pivots(static_cast<std::size_t>(c.n));
    std::vector<Complex> work(static_cast<std::size_t>(lwork));
    int info = 0;
    for (auto _ : state)
        for (int k = 0; k < kPeerFrequencies; ++k) {
            Eigen::MatrixXcd M = problem.Dynamic(k);
            zgetrf_(&c.n, &c.n, M.data(), &c.n, pivots.data(), &info);
            zgetri_(&c.n, M.data(), &c.n, pivots.data(), work.data(), &lwork, &info);
            const Eigen::MatrixXcd H = problem.C * Eigen::MatrixXcd(M * problem.B);
            benchmark::DoNotOptimize(H.data());
        }
    CountFrequencies(state, kPeerFrequencies);
}
#endif

double Least(const std::vector<double>& times) {
    return *std::min_element(times.begin(), times.end());
}

void Register(const char* name, void (*run)(benchmark::State&, const Case&), const Case& c) {
    benchmark::RegisterBenchmark((name + c.Name()).c_str(), run, c)
        ->Unit(benchmark::kMicrosecond)
        ->ComputeStatistics("least", Least);
}

[[maybe_unused]] const bool registered = [] {
    for (const bool chain : {false, true})
        for (const int n : {10, 20, 50, 100, 200, 400})
            for (const int m : {1, 3, 20}) {
                if (chain && m > n / 2) continue;
                for (const int frequencies : {200, 1000}) {
                    const Case c{chain, n, m, frequencies};
                    Register("Sweep", Sweep, c);
                    Register("WholeSweep", WholeSweep, c);
                }
                const Case c{chain, n, m, 200};
                Register("EigenSolve", EigenSolve, c);
#ifdef ZEMRA_LAPACK
                Register("LapackSolve", LapackSolve, c);
                Register("LapackInverse", LapackInverse, c);
#endif
            }
    return true;
}();

}  // namespace
