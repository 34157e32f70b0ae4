// State-space sweeps beside a dense complex solution, or inverse, a frequency.

#include "bench/support/heap.h"
#include "bench/support/sweep_problems.h"
#include "zemra/system/kinematic_model.h"
#include "zemra/system/kinematic_system_ss.h"

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

// A model whose first input prescribes the motion of the first output.
struct Driven {
    explicit Driven(const Case& c)
        : problem(c),
          motion('D', nullptr, 0, nullptr, false, 0, nullptr),
          actuators(c.m, &force),
          A(ToCore(problem.A)),
          B(ToCore(problem.B)),
          split(B, ToCore(WithMotion(c)), Matrix2D<double>(c.p + 1, c.m),
                (actuators(0) = &motion, actuators)) {}

    // The motion of the chain's last mass, which the input pushes.
    Eigen::MatrixXd WithMotion(const Case& c) const {
        Eigen::MatrixXd C(c.p + 1, c.n);
        C << problem.C, problem.C.row(0);
        if (c.chain) C.row(c.p) = Eigen::RowVectorXd::Unit(c.n, c.n / 2 - 1);
        return C;
    }

    Problem problem;
    Actuator force, motion;
    Matrix1D<const Actuator*> actuators;
    Matrix2D<double> A, B;
    KinematicModel split;
};

void DrivenSweep(benchmark::State& state, const Case& c, const Matrix2D<double>& BH,
                 const Driven& driven) {
    for (auto _ : state) {
        KinematicSystemSS model(0.0, driven.A, driven.B, driven.split.C(), driven.split.D(), BH,
                                driven.split.Chat(), driven.split.Dhat(), driven.actuators);
        benchmark::DoNotOptimize(&model.TransferFunction(driven.problem.w));
    }
    CountFrequencies(state, c.frequencies);
}
void DrivenSweep(benchmark::State& state, const Case& c) {
    const Driven driven(c);
    DrivenSweep(state, c, driven.split.Bhat(), driven);
}
// Constraints whose forces are other ones by a rounding are swept by themselves.
void TwoSweeps(benchmark::State& state, const Case& c) {
    const Driven driven(c);
    Matrix2D<double> BH = driven.split.Bhat();
    for (int i = 0; i < c.n; ++i) BH(i, 0) *= 1.0 + 0x1p-52;
    DrivenSweep(state, c, BH, driven);
}

// One call of what takes long does.
void Once(benchmark::internal::Benchmark* benchmark, const Case& c) {
    if (c.n >= 800) benchmark->Iterations(1)->Repetitions(1);
}

void RegisterSweep(const Case& c) {
    Once(Register("sweep", c, "ours", Fast), c);
    if (c.n <= 200 && c.frequencies == 200) {
        Register("sweep", c, "ours_baseline", FastBaseline);
        if (c.m == 1) Register("sweep", c, "ours_written", Written);
    }
#ifdef ZEMRA_LAPACK
    Once(Register("sweep", c, "zgesv", LapackSolve), c);
    if (c.m == 1 && c.frequencies == 200)
        Once(Register("sweep", c, "zgetri", LapackInverse), c);
#endif
}

void RegisterWholeSweep(const Case& c) {
    Once(Register("whole_sweep", c, "ours", WholeSweep), c);
    Once(Register("whole_sweep", c, "eigen", EigenSolve), c);
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
        for (const int n : {20, 100, 200})
            for (const int m : {1, 3}) {
                const Case c{chain, n, m, m, 200};
                Register("kinematic_sweep", c, "ours",
                         static_cast<void (*)(benchmark::State&, const Case&)>(DrivenSweep));
                Register("kinematic_sweep", c, "ours_in_two_sweeps", TwoSweeps);
            }
        RegisterWholeSweep({chain, 100, 1, 1, 1000});
    }
    return true;
}();

}  // namespace
