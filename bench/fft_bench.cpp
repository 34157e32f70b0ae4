#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <memory>
#include <random>

#include "zemra/toolbox/fftpack/complex_to_complex.h"
#include "zemra/toolbox/fftpack/real_to_complex.h"

namespace {

// What a host transforms: powers of two, smooth lengths, and lengths with a large prime factor.
void Lengths(benchmark::internal::Benchmark* benchmark) {
    for (const int n : {64, 1024, 16384, 262144, 1048576}) benchmark->Arg(n);
    for (const int n : {60, 360, 1000, 3000, 10000, 50625, 1000000}) benchmark->Arg(n);
    for (const int n : {1001, 1009, 4036}) benchmark->Arg(n);
}

std::vector<double> Samples(std::size_t count) {
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    std::vector<double> result(count);
    std::generate(result.begin(), result.end(), [&] { return normal(random); });
    return result;
}

// Every transform is in place and begins with a copy of the same signal: a transform of its own
// result would overflow.
template <typename Transform>
void Time(benchmark::State& state, const std::vector<double>& signal, double* data,
          const Transform& transform) {
    for (auto _ : state) {
        std::copy(signal.begin(), signal.end(), data);
        transform();
        benchmark::DoNotOptimize(data);
        benchmark::ClobberMemory();
    }
}

// Room for n + 1 complex values, aligned as the peer likes it. The peer plans by estimate,
// outside the loop as our tables are.
struct PeerData {
    explicit PeerData(int n)
        : complex(fftw_alloc_complex(static_cast<std::size_t>(n) + 1), fftw_free) {}
    double* Values() const { return reinterpret_cast<double*>(complex.get()); }

    std::unique_ptr<fftw_complex, void (*)(void*)> complex;
};

void BM_ComplexTransform(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    fftpack::complex_to_complex<> transform(n);
    std::vector<double> data(2 * n);
    Time(state, Samples(2 * n), data.data(), [&] { transform.forward(data.data()); });
}

void BM_ComplexTransformPeer(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const PeerData peer(n);
    fftw_complex* const data = peer.complex.get();
    const fftw_plan plan = fftw_plan_dft_1d(n, data, data, FFTW_FORWARD, FFTW_ESTIMATE);
    Time(state, Samples(2 * static_cast<std::size_t>(n)), peer.Values(),
         [&] { fftw_execute(plan); });
    fftw_destroy_plan(plan);
}

void BM_RealTransform(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    fftpack::real_to_complex<> transform(n);
    std::vector<double> data(2 * transform.n_complex());
    Time(state, Samples(n), data.data(), [&] { transform.forward_adaptor(data.data()); });
}

void BM_RealTransformPeer(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const PeerData peer(n);
    const fftw_plan plan =
        fftw_plan_dft_r2c_1d(n, peer.Values(), peer.complex.get(), FFTW_ESTIMATE);
    Time(state, Samples(static_cast<std::size_t>(n)), peer.Values(),
         [&] { fftw_execute(plan); });
    fftw_destroy_plan(plan);
}

BENCHMARK(BM_ComplexTransform)->Apply(Lengths);
BENCHMARK(BM_ComplexTransformPeer)->Apply(Lengths);
BENCHMARK(BM_RealTransform)->Apply(Lengths);
BENCHMARK(BM_RealTransformPeer)->Apply(Lengths);

}  // namespace
