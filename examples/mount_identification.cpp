/// A rubber mount: the parameters of a frequency-dependent element from measured stiffness.
///
///     mount_identification [DIRECTORY]
///
/// Writes mount_identification.csv, mount_magnitude.svg and mount_phase.svg into the directory
/// (the current one by default) and prints what it found beside the closed form. Exits with 1
/// when a printed figure misses its bound or a file cannot be written.
///
/// The mount is a three-parameter solid: a spring K0 beside a spring K1 in series with a damper
/// C2. With τ = C2/K1 its dynamic stiffness is
///
///     H(w) = K0 + K1·iwτ/(1 + iwτ)
///
/// from K0 at rest to K0 + K1 at high frequency; its loss modulus Im H peaks at w = 1/τ, with
/// K1/2. A machine drives it with a displacement amplitude of 0.1 mm at each frequency and
/// records the amplitude and the phase of the force.

#include <cmath>
#include <complex>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "examples/support/frequencies.h"
#include "examples/support/report.h"
#include "zemra/zmapi.h"

namespace {

using Stiffness = std::vector<std::complex<double>>;

constexpr double kK0 = 1e5, kK1 = 2e5;  // N/m
constexpr double kC2 = 500.0;           // N·s/m

// Displacements in mm and forces in units of 100 N give stiffness in units of 1e5 N/m: of order
// 1, which is what the identification likes best.
constexpr double kUnit = 1e5;                       // N/m
constexpr double kAmplitude = 0.1;                  // mm
constexpr double kLowest = 1.0, kHighest = 1000.0;  // Hz
constexpr std::size_t kMeasured = 31, kPlotted = 301;

// In N/m.
std::complex<double> Mount(double w) {
    const std::complex<double> s(0.0, w * kC2 / kK1);
    return kK0 + kK1 * s / (1.0 + s);
}

Stiffness Mount(const std::vector<double>& hertz) {
    Stiffness H;
    H.reserve(hertz.size());
    for (const double f : hertz) H.push_back(Mount(Example::Angular(f)));
    return H;
}

// A row a frequency: displacement, frequency (Hz), force, phase (degrees).
ZmAPI_Matrix Measure(const std::vector<double>& hertz) {
    std::vector<double> rows;
    rows.reserve(4 * hertz.size());
    for (const double f : hertz) {
        const std::complex<double> H = Mount(Example::Angular(f)) / kUnit;
        for (const double x : {kAmplitude, f, kAmplitude * std::abs(H), toDEG(std::arg(H))})
            rows.push_back(x);
    }
    return {rows.data(), static_cast<int>(hertz.size()), 4};
}

// What was identified.
class Element {
  public:
    explicit Element(const ZmAPI_Matrix& parameters) : p_(parameters) {}

    double Parameter(int i) const { return p_.Value(i) * kUnit; }

    // In N/m, at angular frequencies.
    Stiffness At(const ZmAPI_Matrix& omega) const {
        const ZmAPI_Matrix H =
            ZmAPI_ToolBox::FDEvaluate(p_.Value(0), p_.Value(1), p_.Value(2), p_.Value(3),
                                      p_.Value(4), p_.Value(5), omega, false);
        Stiffness result;
        result.reserve(static_cast<std::size_t>(H.Size(0)));
        for (int k = 0; k < H.Size(0); ++k) result.push_back(H.ValueC(k).GetComplex() * kUnit);
        return result;
    }
    std::complex<double> At(double w) const { return At(ZmAPI_Matrix(1, &w)).at(0); }

  private:
    ZmAPI_Matrix p_;
};

// Where the loss modulus is largest, by golden sections between two angular frequencies.
double LossPeak(const Element& element, double low, double high) {
    const double ratio = 0.5 * (std::sqrt(5.0) - 1.0);
    while (high - low > 1e-6 * high) {
        const double a = high - ratio * (high - low), b = low + ratio * (high - low);
        if (element.At(a).imag() > element.At(b).imag())
            high = b;
        else
            low = a;
    }
    return 0.5 * (low + high);
}

void ReportFit(Example::Report& report, const Element& element,
               const std::vector<double>& measuredAt, const std::vector<double>& plottedAt) {
    report.Section("Stiffness of the identified mount (N/m)");
    const double bound = 1e-9;
    report.CheckCurve("at the measured frequencies",
                      element.At(Example::AngularVector(measuredAt)), Mount(measuredAt), bound);
    report.CheckCurve("between them", element.At(Example::AngularVector(plottedAt)),
                      Mount(plottedAt), bound);
    report.Check("at rest", element.At(0.0), kK0, bound);
    const double peak = kK1 / kC2;
    report.Check("loss modulus at 400 rad/s", element.At(peak).imag(), 0.5 * kK1, bound);
    // A parabola of relative curvature 1 hides its top within √eps.
    report.Check("where the loss modulus peaks (rad/s)", LossPeak(element, 50.0, 3000.0), peak,
                 1e-6);
}

void ReportParameters(const Element& element) {
    std::printf("\nParameters (N/m and N·s/m); other six may have the same stiffness\n");
    const std::vector<std::string> names{"K0", "C0", "K1", "C1", "K2", "C2"};
    for (int i = 0; const std::string& name : names)
        std::printf("  %-36s %22.9g\n", name.c_str(), element.Parameter(i++));
}

void WriteResults(const std::filesystem::path& directory, const Element& element,
                  const std::vector<double>& measuredAt, const std::vector<double>& plottedAt) {
    const Stiffness measured = Mount(measuredAt);
    const Stiffness atMeasured = element.At(Example::AngularVector(measuredAt));
    const Stiffness fitted = element.At(Example::AngularVector(plottedAt));
    Example::WriteCsv(directory / "mount_identification.csv",
                      {{"frequency_Hz", measuredAt},
                       {"measured_N_per_m", Example::Magnitudes(measured)},
                       {"measured_deg", Example::Phases(measured)},
                       {"fitted_N_per_m", Example::Magnitudes(atMeasured)},
                       {"fitted_deg", Example::Phases(atMeasured)}});

    const Example::Axis frequency{"frequency (Hz)", true};
    Example::SvgPlot magnitude("Dynamic stiffness of a rubber mount", frequency,
                               {"magnitude (N/m)", true});
    magnitude.Add({"fitted", plottedAt, Example::Magnitudes(fitted)});
    magnitude.Add({"measured", measuredAt, Example::Magnitudes(measured), true});
    Example::WriteSvg(directory / "mount_magnitude.svg", magnitude);

    Example::SvgPlot phase("Loss angle of a rubber mount", frequency,
                           {"phase (degrees)", false});
    phase.Add({"fitted", plottedAt, Example::Phases(fitted)});
    phase.Add({"measured", measuredAt, Example::Phases(measured), true});
    Example::WriteSvg(directory / "mount_phase.svg", phase);
}

void Run(Example::Report& report, const std::filesystem::path& directory) {
    const std::vector<double> measuredAt = Example::LogSpaced(kLowest, kHighest, kMeasured);
    const std::vector<double> plottedAt = Example::LogSpaced(kLowest, kHighest, kPlotted);
    const Element element(ZmAPI_ToolBox::FDElementID(Measure(measuredAt)));
    ReportFit(report, element, measuredAt, plottedAt);
    ReportParameters(element);
    WriteResults(directory, element, measuredAt, plottedAt);
}

}  // namespace

int main(int argc, char** argv) {
    return Example::RunExample("mount_identification", argc, argv, Run);
}
