#pragma once

#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <random>
#include <string>

#include "bench/support/dense_families.h"
#include "zemra/system/force_system_ss.h"

namespace ZEMRA::Vibration::bench {

// Peers that solve each frequency by itself are timed on a few of them.
constexpr int kPeerFrequencies = 4;

inline Eigen::MatrixXd Random(int nrows, int ncols, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    return Eigen::MatrixXd::NullaryExpr(nrows, ncols, [&] { return uniform(generator); });
}

inline Matrix2D<double> ToCore(const Eigen::MatrixXd& m) {
    Matrix2D<double> core(static_cast<int>(m.rows()), static_cast<int>(m.cols()));
    for (int i = 0; i < core.Size(0); ++i)
        for (int j = 0; j < core.Size(1); ++j) core(i, j) = m(i, j);
    return core;
}

// A sweep of a model of n states, m inputs and p outputs.
struct Case {
    bool chain;
    int n, m, p, frequencies;

    std::string Order() const {
        return std::string(chain ? "chain" : "dense") + "/n:" + std::to_string(n);
    }
    std::string Name() const {
        std::string name = Order() + "/inputs:" + std::to_string(m);
        if (p != m) name += "/outputs:" + std::to_string(p);
        return name + "/frequencies:" + std::to_string(frequencies);
    }
};

// The chain of MatrixOf, with the inputs and the outputs
// spread over the masses; or random numbers, with the eigenvalues moved to the left half plane.
struct Problem {
    explicit Problem(const Case& c)
        : A(c.chain ? Chain(c.n)
                    : Random(c.n, c.n, 1) -
                          1.2 * std::sqrt(c.n / 3.0) * Eigen::MatrixXd::Identity(c.n, c.n)),
          B(c.chain ? Eigen::MatrixXd::Zero(c.n, c.m) : Random(c.n, c.m, 2)),
          C(c.chain ? Eigen::MatrixXd::Zero(c.p, c.n) : Random(c.p, c.n, 3)),
          w(c.frequencies) {
        const int masses = c.n / 2;
        for (int i = 0; c.chain && i < c.m; ++i) B(c.n - 1 - i * masses / c.m, i) = 1.0;
        for (int i = 0; c.chain && i < c.p; ++i) C(i, i * masses / c.p) = 1.0;
        const double highest = c.chain ? 2.2 : 1.2 * std::sqrt(c.n / 3.0);
        for (int k = 0; k < c.frequencies; ++k) w(k) = highest * (k + 1) / c.frequencies;
    }

    static Eigen::MatrixXd Chain(int n) {
        return Eigen::MatrixXd::NullaryExpr(n, n, [n](Eigen::Index i, Eigen::Index j) {
            return ChainElement(n, int(i), int(j));
        });
    }

    ForceSystemSS Model() const {
        static const Actuator force;
        return {0.0,
                ToCore(A),
                ToCore(B),
                ToCore(C),
                Matrix2D<double>(static_cast<int>(C.rows()), static_cast<int>(B.cols())),
                Matrix1D<const Actuator*>(static_cast<int>(B.cols()), &force)};
    }
    Eigen::MatrixXcd Dynamic(int k) const {
        Eigen::MatrixXcd M = (-A).cast<Complex>();
        M.diagonal().array() += Complex(0.0, w(k * w.Size(0) / kPeerFrequencies));
        return M;
    }

    Eigen::MatrixXd A, B, C;
    Matrix1D<double> w;
};

inline benchmark::Counter PerUnit(double units) {
    return {units, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
}
inline void CountFrequencies(benchmark::State& state, int count) {
    state.counters["per_frequency"] = PerUnit(count);
}

// Registers name/who.
template <typename Run>
auto* RegisterNamed(const std::string& name, const Case& c, const std::string& who, Run run) {
    return benchmark::RegisterBenchmark((name + "/" + who).c_str(), run, c)
        ->Unit(benchmark::kMicrosecond);
}
template <typename Run>
auto* Register(const std::string& work, const Case& c, const std::string& who, Run run) {
    return RegisterNamed(work + "/" + c.Name(), c, who, run);
}

}  // namespace ZEMRA::Vibration::bench
