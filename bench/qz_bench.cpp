// The generalized eigen solution with vectors beside LAPACK's.

#include <vector>

#include "bench/support/sweep_problems.h"
#include "zemra/eigen/eigen2.h"

#ifdef ZEMRA_LAPACK
extern "C" void dggev_(const char* left, const char* right, const int* n, double* a,
                       const int* lda, double* b, const int* ldb, double* alphar,
                       double* alphai, double* beta, double* vl, const int* ldvl, double* vr,
                       const int* ldvr, double* work, const int* lwork, int* info);
#endif

namespace ZEMRA::Vibration::bench {
namespace {

// Random numbers, or a damped chain in first-order form with springs in A and masses of many
// sizes in B.
struct Pencil {
    explicit Pencil(const Case& c) : A(Random(c.n, c.n, 1)), B(Random(c.n, c.n, 2)) {
        if (!c.chain) return;
        A = Problem::Chain(c.n);
        B.setIdentity();
        for (int i = c.n / 2; i < c.n; ++i) B(i, i) = 1.0 + 0.5 * (i % 3);
    }
    ::Eigen::MatrixXd A, B;
};

void Ours(benchmark::State& state, const Case& c) {
    const Pencil pencil(c);
    const Matrix2D<double> A = ToCore(pencil.A), B = ToCore(pencil.B);
    for (auto _ : state) {
        const Eigen2<double> solver(A, B, true);
        benchmark::DoNotOptimize(&solver);
    }
}

#ifdef ZEMRA_LAPACK
void Peer(benchmark::State& state, const Case& c) {
    const Pencil pencil(c);
    const int n = c.n, lwork = 64 * n;
    const auto size = static_cast<std::size_t>(n);
    std::vector<double> alphar(size), alphai(size), beta(size), vectors(size * size),
        work(static_cast<std::size_t>(lwork));
    for (auto _ : state) {
        ::Eigen::MatrixXd A = pencil.A, B = pencil.B;
        int info = 0;
        dggev_("N", "V", &n, A.data(), &n, B.data(), &n, alphar.data(), alphai.data(),
               beta.data(), nullptr, &n, vectors.data(), &n, work.data(), &lwork, &info);
        benchmark::DoNotOptimize(vectors.data());
    }
}
#endif

const bool registered = [] {
    for (const bool chain : {false, true})
        for (const int n : {10, 20, 50, 100, 200}) {
            const Case c{chain, n, 1, 1, 1};
            const std::string name = "generalized_eigen/" + c.Order();
            RegisterNamed(name, c, "ours", Ours);
#ifdef ZEMRA_LAPACK
            RegisterNamed(name, c, "dggev", Peer);
#endif
        }
    return true;
}();

}  // namespace
}  // namespace ZEMRA::Vibration::bench
