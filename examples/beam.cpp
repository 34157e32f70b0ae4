/// A steel beam of ten finite elements, clamped at one end or free: modes, static compliance
/// and the response of its tip.
///
///     beam [DIRECTORY]
///
/// Writes beam.csv, beam_modes.csv and beam.svg into the directory (the current one by default)
/// and prints what it found beside the closed forms. Exits with 1 when a figure misses its
/// bound or a file cannot be written.
///
/// The elements are slender beams in one plane, with cubic (Hermite) shape functions and
/// consistent masses. A node has a deflection and a slope: q = (v0, φ0, v1, φ1, …).

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "examples/support/frequencies.h"
#include "examples/support/mechanics.h"
#include "examples/support/report.h"
#include "zemra/zmapi.h"

using Example::Direction, Example::Dynamics, Example::Matrix;

namespace {

// ---- The beam ------------------------------------------------------------------------------

constexpr double kLength = 1.0, kSide = 0.01;          // m, square section
constexpr double kModulus = 210e9, kDensity = 7800.0;  // Pa, kg/m³
constexpr double kBending = kModulus * kSide * kSide * kSide * kSide / 12.0;  // N·m²
constexpr double kLineMass = kDensity * kSide * kSide;                        // kg/m
constexpr std::size_t kElements = 10;

// Damping in proportion to the stiffness, C = β·K, gives mode r the ratio β·w_r/2 and leaves
// |λ| the undamped frequency. This β damps even the highest mode of the elements less than
// critically.
constexpr double kBeta = 1e-5;  // s

struct Element {
    std::array<std::array<double, 4>, 4> stiffness, mass;
};

Element BeamElement(double l) {
    const double k = kBending / (l * l * l), m = kLineMass * l / 420.0;
    Element result{{{{12, 6 * l, -12, 6 * l},
                     {6 * l, 4 * l * l, -6 * l, 2 * l * l},
                     {-12, -6 * l, 12, -6 * l},
                     {6 * l, 2 * l * l, -6 * l, 4 * l * l}}},
                   {{{156, 22 * l, 54, -13 * l},
                     {22 * l, 4 * l * l, 13 * l, -3 * l * l},
                     {54, 13 * l, 156, -22 * l},
                     {-13 * l, -3 * l * l, -22 * l, 4 * l * l}}}};
    for (auto& row : result.stiffness)
        for (double& value : row) value *= k;
    for (auto& row : result.mass)
        for (double& value : row) value *= m;
    return result;
}

struct Beam {
    std::string name;
    Matrix mass, stiffness;
    Direction tip;
    double beta;

    std::size_t Coordinates() const { return tip.size(); }
};

// Its first `fixed` coordinates are held at 0: 2 clamp the first node, 0 leave the beam free.
Beam MakeBeam(const std::string& name, std::size_t fixed, double beta) {
    const std::size_t n = 2 * (kElements + 1) - fixed;
    Beam beam{name, Matrix(n, n), Matrix(n, n), Direction(n), beta};
    const Element element = BeamElement(kLength / static_cast<double>(kElements));
    for (std::size_t e = 0; e < kElements; ++e) {
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t j = 0; j < 4; ++j) {
                if (2 * e + i < fixed || 2 * e + j < fixed) continue;
                beam.stiffness(2 * e + i - fixed, 2 * e + j - fixed) += element.stiffness[i][j];
                beam.mass(2 * e + i - fixed, 2 * e + j - fixed) += element.mass[i][j];
            }
        }
    }
    beam.tip[n - 2] = 1.0;
    return beam;
}

// A force on the tip and its displacement.
Dynamics WithTipForce(const Beam& beam) {
    Matrix damping = beam.stiffness;
    for (std::size_t i = 0; i < beam.Coordinates(); ++i)
        for (std::size_t j = 0; j < beam.Coordinates(); ++j) damping(i, j) *= beam.beta;
    return Example::FirstOrder(beam.mass, damping, beam.stiffness, {beam.tip});
}

// ---- Modes ---------------------------------------------------------------------------------

struct Mode {
    double frequency;  // Hz, undamped: |λ|/2π
    double damping;    // −Re λ/|λ|; not a number for a rigid-body motion
    double residual;
    bool rigid;
    int eigenvalues;  // 2 of a conjugate pair
};

// One for each conjugate pair and each real eigenvalue. Rounding leaves the eigenvalues of
// rigid-body motions, double zeros, within about √ε of the largest.
std::vector<Mode> Modes(const ZmAPI_System& model) {
    double largest = 0.0;
    for (int i = 0; i < model.Eigenvalues(); ++i)
        largest = std::max(largest, model.Eigenvalue(i, true).Mag());
    const double threshold = std::sqrt(std::numeric_limits<double>::epsilon()) * largest;

    std::vector<Mode> modes;
    modes.reserve(static_cast<std::size_t>(model.Eigenvalues()));
    for (int i = 0; i < model.Eigenvalues(); ++i) {
        const ZmAPI_Complex lambda = model.Eigenvalue(i, true);
        if (lambda.imag() < 0.0) continue;
        const bool rigid = lambda.Mag() <= threshold;
        modes.push_back({lambda.Mag(),
                         rigid ? std::nan("") : -lambda.real() / lambda.Mag() + 0.0,
                         model.CheckEigenVector(i, false), rigid, lambda.imag() > 0.0 ? 2 : 1});
    }
    return modes;
}

void PrintModes(const Beam& beam, const std::vector<Mode>& modes) {
    const std::size_t shown = 8;
    std::printf("\nModes of the %s (the first %zu of %zu)\n", beam.name.c_str(), shown,
                modes.size());
    std::printf("  %4s %15s %12s %11s  %s\n", "mode", "frequency (Hz)", "damping", "residual",
                "rigid body");
    for (std::size_t i = 0; i < std::min(shown, modes.size()); ++i) {
        const Mode& mode = modes[i];
        char damping[24] = "-";
        if (!mode.rigid) std::snprintf(damping, sizeof damping, "%.3e", mode.damping);
        std::printf("  %4zu %15.6f %12s %11.1e  %s\n", i + 1, mode.frequency, damping,
                    mode.residual, mode.rigid ? "yes" : "no");
    }
}

// The frequency (βl)²·√(EI/m)/(2π·l²) of the slender beam, where βl solves cos·cosh = −1
// (clamped) or +1 (free).
double ClosedForm(double root) {
    return root * root * std::sqrt(kBending / kLineMass) /
           (2.0 * std::numbers::pi * kLength * kLength);
}

double RowSumNorm(const Matrix& A) {
    double norm = 0.0;
    for (std::size_t i = 0; i < A.Rows(); ++i) {
        double sum = 0.0;
        for (std::size_t j = 0; j < A.Columns(); ++j) sum += std::abs(A(i, j));
        norm = std::max(norm, sum);
    }
    return norm;
}

struct Reference {
    double root;         // βl of the slender beam
    double tenElements;  // Hz: the frequency that its ten elements have
};

void CheckModes(Example::Report& report, const Beam& beam, const std::vector<Mode>& modes,
                const std::vector<Reference>& references, int rigidBodyMotions, double normA) {
    report.Section("The " + beam.name + " (frequencies in Hz)");
    int rigidEigenvalues = 0;
    std::vector<Mode> elastic;
    double residual = 0.0;
    for (const Mode& mode : modes) {
        if (mode.rigid)
            rigidEigenvalues += mode.eigenvalues;
        else
            elastic.push_back(mode);
        if (!std::isnan(residual) && !(mode.residual <= residual)) residual = mode.residual;
    }
    report.Check("rigid-body eigenvalues, two a motion", rigidEigenvalues,
                 2.0 * rigidBodyMotions, 0.0);
    for (std::size_t r = 0; r < references.size(); ++r) {
        const Mode& mode = elastic.at(r);
        const std::string name = "bending " + std::to_string(r + 1);
        report.Check(name + ", slender beam", mode.frequency, ClosedForm(references[r].root),
                     4e-4);
        report.Check(name + ", ten elements", mode.frequency, references[r].tenElements, 1e-8);
        report.Check(name + ", damping ratio", mode.damping,
                     0.5 * beam.beta * Example::Angular(references[r].tenElements), 1e-6);
    }
    report.Check("largest residual per row-sum norm of A", residual / normA, 0.0, 1e-15);
}

void WriteModes(const std::filesystem::path& file, const std::vector<Mode>& modes) {
    std::vector<Example::Column> columns{{"mode", {}},
                                         {"undamped frequency [Hz]", {}},
                                         {"damping ratio", {}},
                                         {"residual", {}},
                                         {"rigid body", {}}};
    for (std::size_t i = 0; i < modes.size(); ++i) {
        const Mode& mode = modes[i];
        const std::array<double, 5> row{static_cast<double>(i + 1), mode.frequency,
                                        mode.damping, mode.residual, mode.rigid ? 1.0 : 0.0};
        for (std::size_t j = 0; j < row.size(); ++j) columns[j].values.push_back(row[j]);
    }
    Example::WriteCsv(file, columns);
}

// ---- Results -------------------------------------------------------------------------------

void ReportCantilever(Example::Report& report, const std::filesystem::path& directory) {
    const Beam beam = MakeBeam("cantilever", 2, kBeta);
    const Dynamics dynamics = WithTipForce(beam);
    const Example::Outputs tip = Example::Displacements(dynamics, {beam.tip});
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    ZmAPI_SystemSS stateSpace = Example::StateSpaceModel(dynamics, tip, {&force});
    ZmAPI_System modal = Example::ModalModel(dynamics, tip, {&force});

    const std::vector<Mode> modes = Modes(modal);
    CheckModes(report, beam, modes,
               {{1.8751040687119611, 8.381909711},
                {4.694091132974175, 52.530225201},
                {7.854757438237613, 147.118731453}},
               0, RowSumNorm(dynamics.A));
    const double compliance = kLength * kLength * kLength / (3.0 * kBending);
    report.Check("tip compliance, L^3/3EI (m/N)", stateSpace.ComplianceMatrix().Value(0, 0),
                 compliance, 1e-8);

    const std::vector<double> frequencies = Example::LogSpaced(1.0, 1000.0, 1201);
    const ZmAPI_Matrix w = Example::AngularVector(frequencies);
    const auto direct = Example::Response(stateSpace.TransferFunction(w), 0, 0);
    const auto bySum = Example::Response(modal.TransferFunction(w), 0, 0);
    // Mode 1 is hardly damped, so at its peak a relative error of an eigenvalue counts 2000
    // times; the eigenvectors, with m beside m/s, have a condition of 1.7e7.
    report.CheckCurve("tip response, modal form", bySum, direct, 1e-7);
    PrintModes(beam, modes);

    WriteModes(directory / "beam_modes.csv", modes);
    Example::WriteCsv(directory / "beam.csv",
                      {{"frequency [Hz]", frequencies},
                       {"state-space magnitude [m/N]", Example::Magnitudes(direct)},
                       {"state-space phase [degrees]", Example::Phases(direct)},
                       {"modal magnitude [m/N]", Example::Magnitudes(bySum)},
                       {"modal phase [degrees]", Example::Phases(bySum)}});
    Example::SvgPlot plot("Steel cantilever of 1 m: displacement of its tip per force there",
                          {"frequency (Hz)", true}, {"receptance (m/N)", true});
    plot.Add({"state-space form", frequencies, Example::Magnitudes(direct)});
    plot.Add({"modal form", frequencies, Example::Magnitudes(bySum)});
    plot.Add({"static compliance L³/3EI",
              {frequencies.front(), frequencies.back()},
              {compliance, compliance}});
    Example::WriteSvg(directory / "beam.svg", plot);
}

void ReportFreeBeam(Example::Report& report) {
    const Beam beam = MakeBeam("free-free beam", 0, 0.0);
    const Dynamics dynamics = WithTipForce(beam);
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const std::vector<Mode> modes = Modes(
        Example::ModalModel(dynamics, Example::Displacements(dynamics, {beam.tip}), {&force}));
    CheckModes(report, beam, modes,
               {{4.730040744862704, 53.337939505}, {7.853204624095838, 147.059606677}}, 2,
               RowSumNorm(dynamics.A));
    PrintModes(beam, modes);
}

void Run(Example::Report& report, const std::filesystem::path& directory) {
    ReportCantilever(report, directory);
    ReportFreeBeam(report);
}

}  // namespace

int main(int argc, char** argv) { return Example::RunExample("beam", argc, argv, Run); }
