/// A rigid rotor in two supports: its whirl frequencies over the speed of rotation.
///
///     rotor [DIRECTORY]
///
/// Writes rotor.csv and rotor.svg into the directory (the current one by default) and prints
/// the frequencies beside the closed forms. Exits with 1 when a figure misses its bound or a
/// file cannot be written.
///
/// The rotor spins with Ω about x. Its coordinates are the displacements of its centre and the
/// small rotations of its axis, q = (y, z, θy, θz), and the spin couples the rotations:
///
///     m·ÿ + 2k·y = 0                        Id·θÿ + Ip·Ω·θż + ½k·L²·θy = 0
///     m·z̈ + 2k·z = 0                        Id·θz̈ − Ip·Ω·θẏ + ½k·L²·θz = 0
///
/// The translations have w = √(2k/m) at any speed; the axis moves on a cone, forward (in the
/// sense of the spin) or backward, with w the roots of Id·w² ∓ Ip·Ω·w − ½k·L² = 0.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
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

constexpr double kLength = 0.5, kRadius = 0.1;  // m
constexpr double kDensity = 7810.0;             // kg/m³
constexpr double kSupport = 1e6;                // N/m, at each end in y and z
constexpr double kMass = kDensity * std::numbers::pi * kRadius * kRadius * kLength;
constexpr double kPolarInertia = kMass * kRadius * kRadius / 2.0;  // kg·m²
constexpr double kDiametralInertia =
    kMass * (3.0 * kRadius * kRadius + kLength * kLength) / 12.0;
constexpr double kTilting = kSupport * kLength * kLength / 2.0;  // N·m/rad, both supports

// Displacements along y and z of the axis at the supports: a turn about +z moves the right end
// to +y, one about +y moves it to −z.
const Direction kLeftY{1.0, 0.0, 0.0, -kLength / 2.0}, kLeftZ{0.0, 1.0, kLength / 2.0, 0.0};
const Direction kRightY{1.0, 0.0, 0.0, kLength / 2.0}, kRightZ{0.0, 1.0, -kLength / 2.0, 0.0};
enum Coordinate { kY, kZ, kThetaY, kThetaZ, kCoordinates };

// rad/s
double Angular(double rpm) { return Example::Angular(rpm / 60.0); }

Dynamics Rotor(double spin) {
    Matrix G(kCoordinates, kCoordinates), K(kCoordinates, kCoordinates);
    G(kThetaY, kThetaZ) = kPolarInertia * spin;
    G(kThetaZ, kThetaY) = -kPolarInertia * spin;
    for (const Direction& support : {kLeftY, kLeftZ, kRightY, kRightZ})
        Example::AddElement(K, kSupport, support);
    return Example::FirstOrder(
        Example::Diagonal({kMass, kMass, kDiametralInertia, kDiametralInertia}), G, K,
        {kRightY, kRightZ});
}

// ---- Whirls --------------------------------------------------------------------------------

enum Whirl { kBackwardConical, kForwardConical, kTranslation, kAnotherTranslation, kWhirls };
const std::array<std::string, kWhirls> kNames{"backward conical whirl", "forward conical whirl",
                                              "translation", "translation again"};
using Frequencies = std::array<double, kWhirls>;  // rad/s

Frequencies ClosedForm(double spin) {
    const double p = kPolarInertia * spin / (2.0 * kDiametralInertia);
    const double root = std::sqrt(p * p + kTilting / kDiametralInertia);
    const double translation = std::sqrt(2.0 * kSupport / kMass);
    return {root - p, root + p, translation, translation};
}

// What the mode of eigenvalue i, which has a positive imaginary part, is by its shape. The end
// of the axis moves by (Re(Y·e^(jwt)), Re(Z·e^(jwt))), so that Im(Y·conj(Z)) is positive when
// it goes round from y to z, as the spin does.
Whirl Identify(const ZmAPI_System& model, int i) {
    std::array<std::complex<double>, kCoordinates> v;
    for (int j = 0; auto& component : v) {
        const ZmAPI_Complex x = model.Eigenvector(i, j++);
        component = {x.real(), x.imag()};
    }
    const double translation = std::norm(v[kY]) + std::norm(v[kZ]);
    const double tilt = std::norm(v[kThetaY]) + std::norm(v[kThetaZ]);
    if (translation > tilt * kLength * kLength / 4.0) return kTranslation;
    const std::complex<double> endY = v[kThetaZ], endZ = -v[kThetaY];
    return std::imag(endY * std::conj(endZ)) > 0.0 ? kForwardConical : kBackwardConical;
}

// A whirl that no mode was identified with keeps a NaN, which no check lets pass.
Frequencies WhirlFrequencies(double spin) {
    const Dynamics rotor = Rotor(spin);
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const ZmAPI_System model = Example::ModalModel(
        rotor, Example::Displacements(rotor, {kRightY, kRightZ}), {&force, &force});

    Frequencies result;
    result.fill(std::numeric_limits<double>::quiet_NaN());
    for (int i = 0; i < model.Eigenvalues(); ++i) {
        const double w = model.Eigenvalue(i, false).imag();
        if (!(w > 0.0)) continue;
        Whirl whirl = Identify(model, i);
        if (whirl == kTranslation && !std::isnan(result[kTranslation]))
            whirl = kAnotherTranslation;
        result[whirl] = w;
    }
    return result;
}

// ---- Results -------------------------------------------------------------------------------

// From a little above standstill, where no sense of whirl tells the conical modes apart.
std::vector<double> Speeds() {
    const double step = 100.0, highest = 12000.0;  // rpm
    std::vector<double> result(static_cast<std::size_t>(highest / step));
    for (std::size_t k = 0; k < result.size(); ++k)
        result[k] = step * static_cast<double>(k + 1);
    return result;
}

void ReportRated(Example::Report& report) {
    const double rpm = 4000.0;
    const Frequencies computed = WhirlFrequencies(Angular(rpm));
    const Frequencies reference{168.853832, 258.613622, 127.681960, 127.681960};
    report.Section("Whirl frequencies at 4000 rpm (rad/s)");
    for (std::size_t i = 0; i < kWhirls; ++i)
        report.Check(kNames[i], computed[i], reference[i], 1e-8);
}

void Run(Example::Report& report, const std::filesystem::path& directory) {
    ReportRated(report);

    const std::vector<double> speeds = Speeds();
    std::array<std::vector<double>, kWhirls> computed, exact;
    for (const double rpm : speeds) {
        const Frequencies found = WhirlFrequencies(Angular(rpm));
        const Frequencies closed = ClosedForm(Angular(rpm));
        for (std::size_t i = 0; i < kWhirls; ++i) {
            computed[i].push_back(found[i]);
            exact[i].push_back(closed[i]);
        }
    }
    report.Section("Against the closed forms, 100 to 12000 rpm");
    for (std::size_t i = 0; i < kWhirls; ++i)
        report.CheckCurve(kNames[i], computed[i], exact[i], 1e-12);

    std::vector<Example::Column> columns{{"speed [rpm]", speeds}};
    Example::SvgPlot plot("Rigid rotor: whirl frequencies over speed", {"speed (rpm)"},
                          {"frequency (rad/s)"});
    for (std::size_t i = 0; i < kWhirls; ++i) {
        columns.push_back({kNames[i] + " [rad/s]", computed[i]});
        if (i != kAnotherTranslation) plot.Add({kNames[i], speeds, columns.back().values});
    }
    // Where a whirl crosses this line an unbalance excites it, if it is a forward one.
    Example::Curve synchronous{"once per revolution", {0.0}, {0.0}};
    for (const double rpm : speeds) {
        if (Angular(rpm) > columns[1 + kForwardConical].values.back()) break;
        synchronous.x.push_back(rpm);
        synchronous.y.push_back(Angular(rpm));
    }
    plot.Add(synchronous);
    Example::WriteCsv(directory / "rotor.csv", columns);
    Example::WriteSvg(directory / "rotor.svg", plot);
}

}  // namespace

int main(int argc, char** argv) { return Example::RunExample("rotor", argc, argv, Run); }
