#include <algorithm>
#include <cmath>
#include <random>

#ifdef ZEMRA_FFTW
#include <fftw3.h>
#endif

#include "tests/support/elements.h"
#include "tests/support/matrices.h"
#include "tests/support/spectra.h"
#include "tools/accuracy/surveys.h"
#include "zemra/toolbox/fd_identification.h"
#include "zemra/toolbox/spectrum.h"

namespace ZEMRA::Vibration::accuracy {
namespace {

using tests::Extended;

std::vector<std::pair<std::string, std::vector<int>>> Lengths(Extent extent) {
    const bool whole = extent == Extent::kWhole;
    std::vector<std::pair<std::string, std::vector<int>>> all{
        {"powers of two", {2, 4, 8, 16, 32, 64, 128, 256, 512, 1024}},
        {"products of 2, 3 and 5", {6, 10, 12, 30, 60, 90, 150, 240, 360, 450, 720, 900, 1000}},
        {"primes", {3, 5, 7, 11, 13, 31, 61, 97, 127, 211, 499, 503, 997}},
        {"others", {14, 22, 49, 77, 91, 143, 202, 343, 385, 998, 1001, 1009 * 2}}};
    for (auto& [family, lengths] : all)
        std::erase_if(lengths, [&](int n) { return !whole && n > 130; });
    return all;
}

template <typename T>
std::vector<T> Samples(int n, unsigned seed) {
    const Matrix2D<T> column = tests::RandomMatrix<T>(n, 1, seed);
    std::vector<T> samples;
    for (int j = 0; j < n; ++j) samples.push_back(column(j, 0));
    return samples;
}

template <typename T>
Matrix2D<T> Column(const std::vector<T>& samples) {
    return Matrix2D<T>(static_cast<int>(samples.size()), 1, samples.data());
}

// Root mean square of the difference over that of the spectrum.
template <typename Actual>
double RelativeError(const std::vector<Extended>& expected, const Actual& actual) {
    long double error = 0, power = 0;
    for (std::size_t k = 0; k < expected.size(); ++k) {
        error += std::norm(Extended(actual(static_cast<int>(k))) - expected[k]);
        power += std::norm(expected[k]);
    }
    return static_cast<double>(std::sqrt(error / power));
}

#ifdef ZEMRA_FFTW
std::vector<Complex> ByFFTW(std::vector<Complex> x) {
    auto* const data = reinterpret_cast<fftw_complex*>(x.data());
    fftw_plan plan = fftw_plan_dft_1d(static_cast<int>(x.size()), data, data, FFTW_FORWARD,
                                      FFTW_ESTIMATE | FFTW_UNALIGNED);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    return x;
}
std::vector<Complex> ByFFTW(const std::vector<double>& x) {
    std::vector<Complex> lines = ByFFTW(std::vector<Complex>(x.begin(), x.end()));
    lines.resize(x.size() / 2 + 1);
    return lines;
}
#endif

double Steps(int n) { return std::max(1.0, std::log2(static_cast<double>(n))); }

template <typename T>
void SurveyTransforms(Table& table, Extent extent, const std::string& suffix, bool peer) {
    for (const auto& [family, lengths] : Lengths(extent))
        for (const int n : lengths) {
            const std::vector<T> x = Samples<T>(n, static_cast<unsigned>(n));
            cFFT transform;
            const auto& X = static_cast<const Matrix2D<Complex>&>(
                transform.fft(Column(x), n, false, ZmAPI_ToolBox::WINDOW_NONE));
            const auto line = [&](int k) { return X(k, 0); };
            Worst worst;
            if (!peer) {
                worst.Take(RelativeError(tests::DefiningSum(x), line), 4 * kEpsilon * Steps(n));
            } else {
#ifdef ZEMRA_FFTW
                const std::vector<Complex> lines = ByFFTW(x);
                worst.Take(RelativeError({lines.begin(), lines.end()}, line),
                           8 * kEpsilon * Steps(n));
#else
                continue;
#endif
            }
            table.Add(family + suffix, std::to_string(n) + " points" + suffix, worst);
        }
}

void SurveySpectra(Table& table, Extent extent) {
    const std::string unit =
        "the root mean square of the differences over that of the spectrum, ";
    table.Begin("Fourier transforms", unit + "from the defining sum in extended precision",
                "4·ε·log₂ n: the independent roundings of that many steps");
    SurveyTransforms<double>(table, extent, ", real", false);
    SurveyTransforms<Complex>(table, extent, ", complex", false);
#ifdef ZEMRA_FFTW
    table.Begin("Fourier transforms beside FFTW", unit + "from FFTW", "twice that");
    SurveyTransforms<double>(table, extent, ", real", true);
    SurveyTransforms<Complex>(table, extent, ", complex", true);
#endif

    table.Begin("Averaged power spectra",
                "the largest line, from the mean of |X|²/M over windowed segments, X by its "
                "defining sum in extended precision",
                "2·(4·ε·log₂ M + 8·ε)·√(largest line · mean line) and ε·(segments + 8) of each "
                "line: the error of a transform spreads evenly over its lines");
    const char* const windows[] = {"no window", "Hamming", "Hanning", "Parzen", "Welch"};
    for (int window = 0; window < 5; ++window)
        for (const int samples : {60, 157, 400})
            for (const int segments : {1, 3, 7})
                for (const int overlap : {0, 5, 16}) {
                    if (extent == Extent::kShort && (samples > 60 || overlap == 5)) continue;
                    const Matrix2D<double> data = Column(Samples<double>(samples, 77));
                    const int length = cFFT::psdNumPoints(samples, segments, overlap);
                    cFFT transform;
                    const auto& P = static_cast<const Matrix2D<double>&>(transform.psd(
                        data, static_cast<ZmAPI_ToolBox::eWindow>(window), segments, overlap));
                    const std::vector<long double> expected =
                        tests::DefinedDensity(data, 0, window, length, segments, overlap);
                    long double largest = 0, mean = 0;
                    for (const long double line : expected) {
                        largest = std::max(largest, line);
                        mean += line / static_cast<long double>(expected.size());
                    }
                    Worst worst;
                    for (std::size_t k = 0; k < expected.size(); ++k) {
                        const long double off =
                            std::abs(P(static_cast<int>(k), 0) - expected[k]);
                        const long double bound =
                            2 * (4 * kEpsilon * Steps(length) + 8 * kEpsilon) *
                                std::sqrt(largest * mean) +
                            kEpsilon * (segments + 8) * expected[k];
                        worst.Take(static_cast<double>(off / largest),
                                   static_cast<double>(bound / largest));
                    }
                    table.Add(windows[window],
                              std::to_string(samples) + " samples, " +
                                  std::to_string(segments) + " segments, overlap " +
                                  std::to_string(overlap),
                              worst);
                }
}

// The families of free parameters in words.
std::string NameOf(const std::string& free) {
    static const char* const names[] = {"K0", "C0", "K1", "C1", "K2", "C2"};
    std::string name;
    for (std::size_t i = 0; i < 6; ++i)
        if (free[i] == '1') name += (name.empty() ? "" : " ") + std::string(names[i]);
    return name;
}

// Enters what judge finds of some elements of each family, measured with a relative noise.
template <typename Judge>
void EnterElements(Table& table, unsigned sets, unsigned firstSeed, double noise,
                   const Judge& judge) {
    for (const std::string& family : tests::ElementFamilies())
        for (unsigned seed = firstSeed; seed < firstSeed + sets; ++seed)
            table.Add(NameOf(family), "seed " + std::to_string(seed),
                      judge(tests::RandomElement(family, seed, noise)));
}

FDParameters Identified(const tests::MeasuredElement& element) {
    return IdentifyFDElement(
        FDData(Matrix2D<double>(element.Points(), 4, element.rows.data())));
}

void SurveyElements(Table& table, Extent extent) {
    const unsigned sets = extent == Extent::kWhole ? 40 : 4;
    table.Begin("Stiffness of frequency-dependent elements",
                "its magnitude, from the definition in extended precision",
                "4·ε by the terms of the form that it is evaluated in, "
                "K + iwC + R·(K2 + iwC2)/(Ks + iwCs), which cancel where a soft damper meets a "
                "stiff spring");
    EnterElements(table, sets, 1000, 0.0, [](const tests::MeasuredElement& element) {
        const auto& p = element.p;
        std::vector<double> w;
        for (int j = 0; j < element.Points(); ++j)
            w.push_back(6.283185307179586 * element.Hertz(j));
        const ZmAPI_Matrix H =
            ZmAPI_ToolBox::FDEvaluate(p[0], p[1], p[2], p[3], p[4], p[5],
                                      ZmAPI_Matrix(element.Points(), w.data()), false);
        Worst worst;
        for (std::size_t j = 0; j < w.size(); ++j) {
            const auto branch = [&](std::size_t i) {
                return Extended(p[i], static_cast<long double>(w[j]) * p[i + 1]);
            };
            const Extended sum = branch(2) + branch(4);
            const Extended pair =
                sum == Extended(0) ? Extended(0) : branch(2) * branch(4) / sum;
            const Extended expected = branch(0) + pair;
            const long double size = std::abs(expected);
            const double off = static_cast<double>(
                std::abs(Extended(H.ValueC(static_cast<int>(j)).GetComplex()) - expected) /
                size);
            // The terms of K + iwC + R·(K2 + iwC2)/(Ks + iwCs), which it is evaluated as.
            const double Ks = p[2] + p[4], Cs = p[3] + p[5];
            double terms = static_cast<double>(std::abs(branch(0)) + std::abs(pair));
            if (Cs > 0.0)
                terms +=
                    p[3] * std::hypot(p[4], w[j] * p[5]) / Cs +
                    (p[2] + Ks * p[3] / Cs) * static_cast<double>(std::abs(branch(4) / sum));
            worst.Take(off, 4 * kEpsilon * terms / static_cast<double>(size));
        }
        return worst;
    });

    table.Begin("Identified elements, exact data",
                "the root mean square of the stiffness errors over that of the stiffness",
                "1e-4; one in twenty may end in another minimum", 0.05);
    EnterElements(table, sets, 1000, 0.0, [](const tests::MeasuredElement& element) {
        const FDParameters p = Identified(element);
        Worst worst;
        worst.Take(
            std::sqrt(element.SquaredError({p.begin(), p.end()}) / element.SquaredStiffness()),
            1e-4);
        return worst;
    });

    table.Begin("Identified elements, data with 1 % noise",
                "the squared error that the true parameters have with the same data",
                "1.05: the fit is at least about as good; one in twenty may miss it", 0.05);
    EnterElements(table, sets, 5000, 0.01, [](const tests::MeasuredElement& element) {
        const FDParameters p = Identified(element);
        Worst worst;
        worst.Take(element.SquaredError({p.begin(), p.end()}) / element.SquaredError(element.p),
                   1.05);
        return worst;
    });
}

}  // namespace

void SurveySignals(Table& table, Extent extent) {
    SurveySpectra(table, extent);
    SurveyElements(table, extent);
}

}  // namespace ZEMRA::Vibration::accuracy
