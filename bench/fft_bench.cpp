#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zemra/matrix/kernel_set.h"
#include "zemra/toolbox/fftpack/complex_to_complex.h"
#include "zemra/toolbox/fftpack/real_to_complex.h"
#include "zemra/toolbox/spectrum.h"

namespace ZEMRA::Vibration::bench {
namespace {

// What a host transforms: powers of two, smooth lengths even and odd, a large prime.
constexpr int kLengths[] = {16,    60,    64,    125,   243,   256,   360,   512,
                            625,   1000,  1024,  2187,  3000,  3125,  4096,  10000,
                            16384, 19683, 32768, 50625, 59049, 60000, 65536, 10007};

std::vector<double> Samples(std::size_t count) {
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    std::vector<double> result(count);
    std::generate(result.begin(), result.end(), [&] { return normal(random); });
    return result;
}

const fftpack::kernels& Kernels(KernelSet set) {
    return OneOf(set, fftpack::baseline_kernels, fftpack::avx2_kernels);
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

// Ours of the length, on one of the kernel sets.
struct OurComplex {
    static std::size_t Values(std::size_t n) { return 2 * n; }
    OurComplex(std::size_t n, KernelSet set) : transform(n, Kernels(set)) {}
    void operator()(double* data) { transform.forward(data); }
    fftpack::complex_to_complex<> transform;
};
struct OurReal {
    static std::size_t Values(std::size_t n) { return n; }
    OurReal(std::size_t n, KernelSet set) : transform(n, Kernels(set)) {}
    void operator()(double* data) { transform.forward_adaptor(data); }
    fftpack::real_to_complex<> transform;
};

// The peer plans by estimate.
struct Plan {
    explicit Plan(fftw_plan made) : plan(made, fftw_destroy_plan) {}
    void operator()(double*) const { fftw_execute(plan.get()); }
    std::unique_ptr<std::remove_pointer_t<fftw_plan>, void (*)(fftw_plan)> plan;
};
struct PeerComplex : Plan {
    PeerComplex(std::size_t n, fftw_complex* data)
        : Plan(fftw_plan_dft_1d(static_cast<int>(n), data, data, FFTW_FORWARD, FFTW_ESTIMATE)) {
    }
};
struct PeerReal : Plan {
    PeerReal(std::size_t n, fftw_complex* data)
        : Plan(fftw_plan_dft_r2c_1d(static_cast<int>(n), reinterpret_cast<double*>(data), data,
                                    FFTW_ESTIMATE)) {}
};

// Room for n + 1 complex values, aligned as the peer likes it.
struct PeerData {
    explicit PeerData(std::size_t n) : complex(fftw_alloc_complex(n + 1), fftw_free) {}
    double* Values() const { return reinterpret_cast<double*>(complex.get()); }

    std::unique_ptr<fftw_complex, void (*)(void*)> complex;
};

// One length: tables reused, or built and thrown away each time.
template <typename Ours, typename Peer>
void Register(const std::string& kind, std::size_t n) {
    const std::string family = kind + "/n:" + std::to_string(n);
    const auto ours = [n](benchmark::State& state, bool reused, KernelSet set) {
        std::vector<double> data(2 * n + 2);
        Ours kept(n, set);
        Time(state, Samples(Ours::Values(n)), data.data(), [&] {
            if (reused)
                kept(data.data());
            else
                Ours(n, set)(data.data());
        });
    };
    const auto peer = [n](benchmark::State& state, bool reused) {
        const PeerData data(n);
        const Peer kept(n, data.complex.get());
        Time(state, Samples(Ours::Values(n)), data.Values(), [&] {
            if (reused)
                kept(data.Values());
            else
                Peer(n, data.complex.get())(data.Values());
        });
    };
    for (const bool reused : {true, false}) {
        const std::string name = (reused ? "fft_reused/" : "fft_anew/") + family;
        const auto chosen = ChosenKernels();
        benchmark::RegisterBenchmark((name + "/ours").c_str(), ours, reused, chosen);
        if (reused)
            benchmark::RegisterBenchmark((name + "/ours_baseline").c_str(), ours, reused,
                                         KernelSet::kBaseline);
        benchmark::RegisterBenchmark((name + "/fftw").c_str(), peer, reused);
    }
}

// ---- Averaged spectrum of a million samples, segments of 1024 points that overlap by half
// ------

constexpr int kSamples = 1'000'000, kPoints = 1024, kOverlap = kPoints / 2;
constexpr int kSegments = 1302;  // kSamples/kSegments + kOverlap/2 = kPoints

// The same by the peer, planned once a call, the window with it.
void PeerDensity(const double* x, fftw_complex* data, std::vector<double>& mean) {
    auto* const values = reinterpret_cast<double*>(data);
    const PeerReal transform(kPoints, data);
    std::vector<double> weights(kPoints);
    const double step = 2 * std::acos(-1.0) / (kPoints - 1);
    for (std::size_t j = 0; j < kPoints; ++j)
        weights[j] = 0.5 * (1 - std::cos(static_cast<double>(j) * step));
    std::fill(mean.begin(), mean.end(), 0.0);
    for (int s = 0; s < kSegments; ++s) {
        const int start = s == kSegments - 1 ? kSamples - kPoints : (kPoints - kOverlap) * s;
        for (std::size_t j = 0; j < kPoints; ++j)
            values[j] = weights[j] * x[start + static_cast<int>(j)];
        transform(values);
        for (std::size_t k = 0; k < mean.size(); ++k)
            mean[k] += values[2 * k] * values[2 * k] + values[2 * k + 1] * values[2 * k + 1];
    }
    for (double& density : mean) density *= 1.0 / kPoints / kSegments;
}

// The peer has its samples in one array, ours as a matrix of rows; or both have the matrix.
void RegisterAveraged() {
    const std::string name = "psd/real/n:" + std::to_string(kPoints);
    const std::vector<double> samples = Samples(kSamples);
    const auto peer = [samples](benchmark::State& state, bool fromMatrix) {
        const Matrix2D<double> matrix(fromMatrix ? kSamples : 0, 1, samples.data());
        const PeerData data(kPoints);
        std::vector<double> column = samples, mean(kPoints / 2 + 1);
        for (auto _ : state) {
            for (int i = 0; i < matrix.Size(0); ++i)
                column[static_cast<std::size_t>(i)] = matrix(i, 0);
            PeerDensity(column.data(), data.complex.get(), mean);
            benchmark::DoNotOptimize(mean.data());
        }
    };
    benchmark::RegisterBenchmark((name + "/ours").c_str(), [samples](benchmark::State& state) {
        const Matrix2D<double> data(kSamples, 1, samples.data());
        cFFT transform;
        if (cFFT::psdNumPoints(kSamples, kSegments, kOverlap) != kPoints)
            state.SkipWithError("other segments than the peer's");
        for (auto _ : state)
            benchmark::DoNotOptimize(
                &transform.psd(data, ZmAPI_ToolBox::WINDOW_HANNING, kSegments, kOverlap));
    });
    benchmark::RegisterBenchmark((name + "/fftw").c_str(), peer, false);
    benchmark::RegisterBenchmark((name + "/fftw_of_matrix").c_str(), peer, true);
}

const bool registered = [] {
    for (const int n : kLengths) {
        Register<OurComplex, PeerComplex>("complex", static_cast<std::size_t>(n));
        Register<OurReal, PeerReal>("real", static_cast<std::size_t>(n));
    }
    RegisterAveraged();
    return true;
}();

}  // namespace
}  // namespace ZEMRA::Vibration::bench
