// State-space sweeps beside a dense complex solution, or inverse, a frequency.

#include "bench/support/heap.h"
#include "bench/support/sweep_problems.h"

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
using namespace ZEMRA::Vibration::bench;

// The most that a sweep holds beyond its result, in arrays of n × n doubles.
double PeakArrays(const Case& c, const Problem& problem) {
    ForceSystemSS model = problem.Model();
    Heap::Mark();
    const auto before = static_cast<double>(Heap::Held());
    model.TransferFunction(problem.w);
    const double result = 1.0 * c.frequencies * c.m * c.p * sizeof(Complex);
    return (static_cast<double>(Heap::Most()) - before - result) / (8.0 * c.n * c.n);
}

// From the matrices to the transfer function: a model answers a repeated sweep from its cache.
void WholeSweep(benchmark::State& state, const Case& c) {
    const Problem problem(c);
    for (auto _ : state) {
        ForceSystemSS model = problem.Model();
        benchmark::DoNotOptimize(&model.TransferFunction(problem.w));
    }
    CountFrequencies(state, c.frequencies);
    state.counters["arrays_of_n²"] = PeakArrays(c, problem);
}

// Another sweep of the same model.
template <SweepRoad Road>
void Sweep(benchmark::State& state, const Case& c, KernelSet kernels, int frequencies) {
    Problem problem(c);
    ForceSystemSS model = problem.Model();
    model.TakeRoad(Road, kernels);
    if (Road != SweepRoad::kWritten) model.TransferFunction(problem.w);
    if (frequencies < c.frequencies) {
        Matrix1D<double> some(frequencies);
        for (int k = 0; k < frequencies; ++k)
            some(k) = problem.w(k * c.frequencies / frequencies);
        problem.w = some;
    }
    for (auto _ : state) {
        problem.w(0) *= 1.0 + 1e-9;
        benchmark::DoNotOptimize(&model.TransferFunction(problem.w));
    }
    CountFrequencies(state, frequencies);
    state.counters["time/(n²(m+1))"] = PerUnit(1.0 * frequencies * c.n * c.n * (c.m + 1));
}
void Fast(benchmark::State& state, const Case& c) {
    Sweep<SweepRoad::kFast>(state, c, ChosenKernels(), c.frequencies);
}
void FastBaseline(benchmark::State& state, const Case& c) {
    Sweep<SweepRoad::kFast>(state, c, KernelSet::kBaseline, c.frequencies);
}
void Written(benchmark::State& state, const Case& c) {
    Sweep<SweepRoad::kWritten>(state, c, ChosenKernels(), kPeerFrequencies);
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

// One call of what takes long does.
void Once(benchmark::internal::Benchmark* benchmark, const Case& c) {
    if (c.n >= 800) benchmark->Iterations(1)->Repetitions(1);
}

void RegisterPeers(const std::string& work, const Case& c) {
    Once(Register(work, c, "eigen", EigenSolve), c);
#ifdef ZEMRA_LAPACK
    Once(Register(work, c, "zgesv", LapackSolve), c);
    if (c.m == 1) Once(Register(work, c, "zgetri", LapackInverse), c);
#endif
}

void RegisterSweep(const Case& c) {
    Once(Register("sweep", c, "ours", Fast), c);
    if (c.n <= 200 && c.frequencies == 200) {
        Register("sweep", c, "ours_baseline", FastBaseline);
        Register("sweep", c, "ours_written", Written);
    }
    RegisterPeers("sweep", c);
}

void RegisterWholeSweep(const Case& c) {
    Once(Register("whole_sweep", c, "ours", WholeSweep), c);
    RegisterPeers("whole_sweep", c);
}

[[maybe_unused]] const bool registered = [] {
    for (const bool chain : {false, true}) {
        for (const int n : {10, 20, 50, 100, 200, 400})
            for (const int m : {1, 3, 20})
                if (!chain || m <= n / 2) RegisterSweep({chain, n, m, m, 200});
        RegisterSweep({chain, 100, 1, 1, 1000});
        RegisterSweep({chain, 100, 20, 1, 200});  // solved transposed
        RegisterSweep({chain, 100, 1, 1, 8});     // too few to reduce the matrix for
        RegisterSweep({chain, 10, 1, 1, 8});
        RegisterSweep({chain, 800, 1, 1, 200});
        for (const int n : {20, 50, 100, 200, 400, 800})
            RegisterWholeSweep({chain, n, 1, 1, 200});
        RegisterWholeSweep({chain, 100, 20, 20, 200});
        RegisterWholeSweep({chain, 100, 1, 1, 1000});
    }
    return true;
}();

}  // namespace
