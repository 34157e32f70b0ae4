// Modal sweeps beside a complex diagonal form, C·V and V⁻¹·B being multiplied once: a division
// a mode and a complex matrix product a frequency.

#include <Eigen/Eigenvalues>
#include <map>
#include <memory>

#include "bench/support/sweep_problems.h"
#include "zemra/system/force_system_ms.h"

#ifdef ZEMRA_LAPACK
extern "C" void zgemm_(const char* transA, const char* transB, const int* m, const int* n,
                       const int* k, const std::complex<double>* alpha,
                       const std::complex<double>* a, const int* lda,
                       const std::complex<double>* b, const int* ldb,
                       const std::complex<double>* beta, std::complex<double>* c,
                       const int* ldc);
#endif

namespace {

using namespace ZEMRA::Vibration;
using namespace ZEMRA::Vibration::bench;

const Eigen::EigenSolver<Eigen::MatrixXd>& Modes(const Case& c, const Eigen::MatrixXd& A) {
    static std::map<std::pair<bool, int>, Eigen::EigenSolver<Eigen::MatrixXd>> known;
    const auto [modes, isNew] = known.try_emplace({c.chain, c.n});
    if (isNew) modes->second.compute(A);
    return modes->second;
}

ForceSystemMS ModalModel(const Case& c, const Problem& problem) {
    static const Actuator force;
    const auto& modes = Modes(c, problem.A);
    const Eigen::MatrixXd V = modes.pseudoEigenvectors(), T = modes.pseudoEigenvalueMatrix();
    std::vector<int> rows, columns;
    std::vector<double> values;
    for (int i = 0; i < c.n; ++i)
        for (int j = 0; j < c.n; ++j) {
            if (T(i, j) == 0.0) continue;
            rows.push_back(i);
            columns.push_back(j);
            values.push_back(T(i, j));
        }
    const MatrixSparse2D<double> A(c.n, c.n, static_cast<int>(values.size()), rows.data(),
                                   columns.data(), values.data());
    return {0.0,
            A,
            ToCore(V.lu().solve(problem.B)),
            ToCore(problem.C * V),
            Matrix2D<double>(c.p, c.m),
            Matrix1D<const Actuator*>(c.m, &force),
            EigenProblem(),
            std::make_shared<const ModalResidual>(ToCore(V.inverse()),
                                                  ToCore(problem.A * V - V * T))};
}

void Sweep(benchmark::State& state, const Case& c) {
    Problem problem(c);
    ForceSystemMS model = ModalModel(c, problem);
    for (auto _ : state) {
        problem.w(0) *= 1.0 + 1e-9;
        benchmark::DoNotOptimize(&model.TransferFunction(problem.w));
    }
    CountFrequencies(state, c.frequencies);
}

// The diagonal form; answers frequency by frequency through a product C·X.
struct Diagonal {
    Eigen::VectorXcd lambda;
    Eigen::MatrixXcd B, C, X;

    Diagonal(const Case& c, const Problem& problem) : X(c.n, c.m) {
        const auto& modes = Modes(c, problem.A);
        const Eigen::MatrixXcd V = modes.eigenvectors();
        lambda = modes.eigenvalues();
        B = V.lu().solve(problem.B.cast<Complex>());
        C = problem.C * V;
    }
    template <typename Product>
    void Run(benchmark::State& state, const Matrix1D<double>& w, Product product) {
        for (auto _ : state) {
            std::vector<Eigen::MatrixXcd> sweep;
            sweep.reserve(static_cast<std::size_t>(w.Size(0)));
            for (int k = 0; k < w.Size(0); ++k) {
                X = (Complex(0, w(k)) - lambda.array()).inverse().matrix().asDiagonal() * B;
                product(*this, sweep.emplace_back(C.rows(), B.cols()));
            }
            benchmark::DoNotOptimize(sweep.data());
        }
        CountFrequencies(state, w.Size(0));
    }
};

void EigenProduct(benchmark::State& state, const Case& c) {
    const Problem problem(c);
    Diagonal(c, problem).Run(state, problem.w, [](Diagonal& d, Eigen::MatrixXcd& H) {
        H.noalias() = d.C * d.X;
    });
}

#ifdef ZEMRA_LAPACK
void BlasProduct(benchmark::State& state, const Case& c) {
    const Problem problem(c);
    const Complex one = 1.0, zero = 0.0;
    Diagonal(c, problem).Run(state, problem.w, [&](Diagonal& d, Eigen::MatrixXcd& H) {
        zgemm_("N", "N", &c.p, &c.m, &c.n, &one, d.C.data(), &c.p, d.X.data(), &c.n, &zero,
               H.data(), &c.p);
    });
}
#endif

[[maybe_unused]] const bool registered = [] {
    for (const bool chain : {false, true})
        for (const int n : {20, 50, 100, 200, 400})
            for (const int m : {1, 3, 20}) {
                if (chain && m > n / 2) continue;
                const Case c{chain, n, m, m, 200};
                Register("modal_sweep", c, "ours", Sweep);
                Register("modal_sweep", c, "eigen", EigenProduct);
#ifdef ZEMRA_LAPACK
                Register("modal_sweep", c, "zgemm", BlasProduct);
#endif
            }
    return true;
}();

}  // namespace
