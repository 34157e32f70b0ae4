/// Two sines in noise: their amplitudes from the Fourier transform of a record, and the level
/// of the noise from its averaged spectrum.
///
///     spectrum [DIRECTORY]
///
/// Writes spectrum.csv (the averaged density), spectrum_lines.csv (the transform of the whole
/// record) and spectrum.svg into the directory (the current one by default) and prints what it
/// found beside the values that went into the signal. Exits with 1 when a printed figure misses
/// its reference or a file cannot be written.
///
/// The library scales nothing. With M points dt apart and a window w_j:
///
///     amplitude at line k        2·|X_k|/Σw
///     one-sided density per Hz   G_k = 2·dt·P_k/mean(w²), half of it at line 0 and, for an
///                                even M, at the last line
///
/// The bounds are four standard deviations of what the noise does to an estimate.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "examples/support/frequencies.h"
#include "examples/support/report.h"
#include "zemra/zmapi.h"

namespace {

// ---- The signal, an acceleration -----------------------------------------------------------

struct Sine {
    double frequency;  // Hz, a whole number of periods in the record
    double amplitude;  // m/s²
};

constexpr Sine kSines[] = {{36.5, 2.0}, {120.25, 0.5}};
constexpr double kNoise = 0.5;  // m/s², standard deviation
constexpr int kSamples = 16384;
constexpr double kStep = 1.0 / 1024.0;  // s

// White noise, by Box and Muller so that every standard library gives the same.
std::vector<double> Noise() {
    std::mt19937 random(2026);
    const auto uniform = [&] { return (static_cast<double>(random()) + 0.5) / 4294967296.0; };
    std::vector<double> result(kSamples);
    for (double& sample : result) {
        const double radius = std::sqrt(-2.0 * std::log(uniform()));
        sample = kNoise * radius * std::cos(2.0 * std::numbers::pi * uniform());
    }
    return result;
}

std::vector<double> Signal() {
    std::vector<double> result = Noise();
    for (std::size_t j = 0; j < result.size(); ++j)
        for (const Sine& sine : kSines)
            result[j] += sine.amplitude * std::sin(Example::Angular(sine.frequency) * kStep *
                                                   static_cast<double>(j));
    return result;
}

double MeanSquare(const std::vector<double>& signal) {
    double sum = 0.0;
    for (const double x : signal) sum += x * x;
    return sum / static_cast<double>(signal.size());
}

// ---- Spectra -------------------------------------------------------------------------------

constexpr auto kWindow = ZmAPI_ToolBox::WINDOW_HANNING;

double Weight(int j, int points) {
    return 0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * j / (points - 1)));
}

struct Lines {
    std::vector<double> frequency, value;
};

ZmAPI_Matrix AsColumn(const std::vector<double>& signal) {
    return {static_cast<int>(signal.size()), 1, signal.data()};
}

Lines Amplitudes(const std::vector<double>& signal) {
    const bool detrend = false;
    const ZmAPI_Matrix X = ZmAPI_ToolBox::FFT(AsColumn(signal), kSamples, detrend, kWindow);
    double sum = 0.0;
    for (int j = 0; j < kSamples; ++j) sum += Weight(j, kSamples);
    Lines result;
    for (int k = 0; k < X.Size(0); ++k) {
        result.frequency.push_back(ZmAPI_ToolBox::Frequency(k, kSamples, kStep, true));
        result.value.push_back(2.0 * X.ValueC(k, 0).Mag() / sum);
    }
    return result;
}

// One-sided, in (m/s²)²/Hz, over segments that do not overlap.
Lines Density(const std::vector<double>& signal, int segments, bool tapered) {
    const ZmAPI_Matrix P = ZmAPI_ToolBox::PSD(
        AsColumn(signal), tapered ? kWindow : ZmAPI_ToolBox::WINDOW_NONE, segments, 0);
    const int points = kSamples / segments;
    double squares = 0.0;
    for (int j = 0; j < points; ++j)
        squares += tapered ? Weight(j, points) * Weight(j, points) : 1.0;
    const double scale = 2.0 * kStep * points / squares;
    Lines result;
    for (int k = 0; k < P.Size(0); ++k) {
        const bool single = k == 0 || 2 * k == points;
        result.frequency.push_back(ZmAPI_ToolBox::Frequency(k, points, kStep, true));
        result.value.push_back((single ? 0.5 : 1.0) * scale * P.Value(k, 0));
    }
    return result;
}

// The lines of a spectrum from lowest to highest (Hz).
std::vector<double> Between(const Lines& lines, double lowest, double highest) {
    std::vector<double> result;
    for (std::size_t k = 0; k < lines.value.size(); ++k)
        if (lines.frequency[k] >= lowest && lines.frequency[k] <= highest)
            result.push_back(lines.value[k]);
    return result;
}

double Sum(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double v : values) sum += v;
    return sum;
}

// ---- Results -------------------------------------------------------------------------------

std::string At(const Sine& sine) {
    return "at " + std::to_string(sine.frequency).substr(0, 6) + " Hz";
}

// The line of a windowed sine scatters by σ·√(2·1.5/N), 1.5 lines being the noise bandwidth of
// the window.
void ReportAmplitudes(Example::Report& report, const Lines& amplitudes) {
    report.Section("Sines, from the transform of the whole record (Hz, m/s^2)");
    const double deviation = kNoise * std::sqrt(2.0 * 1.5 / kSamples);
    for (const Sine& sine : kSines) {
        std::size_t peak = 0;
        for (std::size_t k = 0; k < amplitudes.value.size(); ++k)
            if (std::abs(amplitudes.frequency[k] - sine.frequency) < 10.0 &&
                amplitudes.value[k] > amplitudes.value[peak])
                peak = k;
        report.Check("frequency of the peak", amplitudes.frequency[peak], sine.frequency, 0.0);
        report.Check("amplitude " + At(sine), amplitudes.value[peak], sine.amplitude,
                     4.0 * deviation / sine.amplitude);
    }
}

// Powers are estimated from half as many independent samples as there are: the window lets the
// ends of the segments count little. Each product of the noise and a sine adds to their
// scatter.
void ReportDensity(Example::Report& report, const Lines& density) {
    report.Section("Powers, from the averaged density ((m/s^2)^2, per Hz)");
    const double variance = kNoise * kNoise, level = 2.0 * variance * kStep;
    const double independent = 0.5 * kSamples;
    const double spacing = density.frequency[1];

    const std::vector<double> quiet = Between(density, 200.0, 500.0);
    const double share = (500.0 - 200.0) / (0.5 / kStep);  // of the band that noise fills
    report.Check("density of the noise", Sum(quiet) / static_cast<double>(quiet.size()), level,
                 4.0 * std::sqrt(2.0 / (share * independent)));

    double total = variance, scatter = 2.0 * variance * variance;
    for (const Sine& sine : kSines) {
        const double power = 0.5 * sine.amplitude * sine.amplitude;
        const double reach = 4.0 * spacing;
        const std::vector<double> hill =
            Between(density, sine.frequency - reach, sine.frequency + reach);
        const double found = (Sum(hill) - level * static_cast<double>(hill.size())) * spacing;
        report.Check("power " + At(sine), found, power,
                     4.0 * std::sqrt(4.0 * variance * power / independent) / power);
        total += power;
        scatter += 4.0 * variance * power;
    }
    report.Check("whole power", Sum(density.value) * spacing, total,
                 4.0 * std::sqrt(scatter / independent) / total);
}

void ReportParseval(Example::Report& report, const std::vector<double>& signal) {
    report.Section("One segment without a window ((m/s^2)^2)");
    const Lines density = Density(signal, 1, false);
    report.Check("whole power", Sum(density.value) * density.frequency[1], MeanSquare(signal),
                 1e-12);
}

void Run(Example::Report& report, const std::filesystem::path& directory) {
    const int segments = 32;
    const std::vector<double> signal = Signal();
    const Lines amplitudes = Amplitudes(signal);
    const Lines single = Density(signal, 1, true), averaged = Density(signal, segments, true);
    ReportAmplitudes(report, amplitudes);
    ReportDensity(report, averaged);
    ReportParseval(report, signal);

    Example::WriteCsv(directory / "spectrum.csv",
                      {{"frequency [Hz]", averaged.frequency},
                       {"acceleration density [(m/s^2)^2/Hz]", averaged.value}});
    Example::WriteCsv(directory / "spectrum_lines.csv",
                      {{"frequency [Hz]", amplitudes.frequency},
                       {"acceleration amplitude [m/s^2]", amplitudes.value},
                       {"acceleration density [(m/s^2)^2/Hz]", single.value}});
    Example::SvgPlot plot("Two sines in noise", {"frequency (Hz)", false},
                          {"acceleration density ((m/s²)²/Hz)", true});
    plot.Add({"one segment", single.frequency, single.value});
    plot.Add({"mean of 32 segments", averaged.frequency, averaged.value});
    Example::WriteSvg(directory / "spectrum.svg", plot);
}

}  // namespace

int main(int argc, char** argv) { return Example::RunExample("spectrum", argc, argv, Run); }
