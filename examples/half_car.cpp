/// A car on a rough road: body accelerations of a half-car model, from its mass, damping and
/// stiffness matrices to spectral densities and RMS values.
///
///     half_car [DIRECTORY]
///
/// Writes half_car.csv and half_car.svg into the directory (the current one by default) and
/// prints what it found beside references computed independently. Exits with 1 when a printed
/// figure misses its reference or a file cannot be written.
///
/// The model in SI units: the body moves up (heave) and nose down (pitch) on two suspensions,
/// each on a wheel, each on a tyre. Coordinates q = (heave, pitch, front wheel, rear wheel):
///
///     M·q̈ + C·q̇ + K·q = F·u,    u the forces of the road on the tyres
///
/// The library takes the first-order form ẋ = A·x + B·u, y = C·x + D·u with x = (q, q̇).

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include "examples/support/frequencies.h"
#include "examples/support/mechanics.h"
#include "examples/support/report.h"
#include "zemra/zmapi.h"

using Example::Angular, Example::Direction, Example::Dynamics, Example::Matrix;

namespace {

// ---- The car -------------------------------------------------------------------------------

constexpr std::size_t kCoordinates = 4;

constexpr double kFrontArm = 1.40, kRearArm = 1.47;              // m, centre to axle
const std::vector<double> kMasses{420.0, 1100.0, 53.0, 76.0};    // kg, but pitch: kg·m²
constexpr double kFrontSpring = 10000.0, kRearSpring = 13000.0;  // N/m
constexpr double kDamper = 1000.0;                               // N·s/m, at each wheel
constexpr double kTyre = 200000.0;                               // N/m, each

// The upward displacements of the points.
const Direction kBodyCentre{1.0, 0.0, 0.0, 0.0};
const Direction kFrontBody{1.0, -kFrontArm, 0.0, 0.0};
const Direction kRearBody{1.0, kRearArm, 0.0, 0.0};
const Direction kFrontWheel{0.0, 0.0, 1.0, 0.0};
const Direction kRearWheel{0.0, 0.0, 0.0, 1.0};

constexpr double kSpeed = 20.0;               // m/s
constexpr double kRoughness = 64e-6;          // m³, ISO 8608 class B, geometric mean
constexpr double kReferenceWaveNumber = 0.1;  // cycles/m, to which the roughness refers

constexpr double kLowest = 0.05, kHighest = 50.0;  // Hz
constexpr std::size_t kFrequencies = 2001;

Matrix Stiffness() {
    Matrix K(kCoordinates, kCoordinates);
    AddElement(K, kFrontSpring, Example::Difference(kFrontBody, kFrontWheel));
    AddElement(K, kRearSpring, Example::Difference(kRearBody, kRearWheel));
    AddElement(K, kTyre, kFrontWheel);
    AddElement(K, kTyre, kRearWheel);
    return K;
}

Matrix Damping() {
    Matrix C(kCoordinates, kCoordinates);
    AddElement(C, kDamper, Example::Difference(kFrontBody, kFrontWheel));
    AddElement(C, kDamper, Example::Difference(kRearBody, kRearWheel));
    return C;
}

Dynamics Car(const Matrix& damping, const std::vector<Direction>& forces) {
    return Example::FirstOrder(Example::Diagonal(kMasses), damping, Stiffness(), forces);
}

// ---- Undamped natural frequencies ----------------------------------------------------------

// Unit forces on, and displacements of, all four coordinates of the car without its dampers.
ZmAPI_SystemSS UndampedModel() {
    std::vector<Direction> all(kCoordinates, Direction(kCoordinates));
    for (std::size_t i = 0; i < all.size(); ++i) all[i][i] = 1.0;
    const Dynamics undamped = Car(Matrix(kCoordinates, kCoordinates), all);
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const std::vector<const ZmAPI_Actuator*> forces(kCoordinates, &force);
    return Example::StateSpaceModel(undamped, Example::Displacements(undamped, all), forces);
}

// The driving-point receptances, weighted with the masses. With modes φᵣ scaled to unit modal
// mass, Σᵢ mᵢ·φᵢᵣ² = 1, every mode has the same share in the sum:
//
//     Σᵢ mᵢ·αᵢᵢ(w) = Σᵢ mᵢ·Σᵣ φᵢᵣ²/(wᵣ² − w²) = Σᵣ 1/(wᵣ² − w²)
//
// This is real and increases with w between the natural frequencies wᵣ; at each of them it
// jumps from +∞ to −∞. (In the receptance of the body alone a wheel's mode is a spike too
// narrow for a grid.)
double WeightedReceptance(const ZmAPI_Matrix& receptances, int slot) {
    double sum = 0.0;
    for (int i = 0; const double mass : kMasses) {
        sum += mass * receptances.ValueC(slot, i, i).real();
        ++i;
    }
    return sum;
}

double BisectPole(ZmAPI_SystemSS& model, double below, double above) {
    while (above - below > 1e-10 * above) {
        const double f = 0.5 * (below + above);
        const ZmAPI_Matrix receptances = model.TransferFunction(Example::AngularVector({f}));
        (WeightedReceptance(receptances, 0) > 0.0 ? below : above) = f;
    }
    return 0.5 * (below + above);
}

// In Hz. Every change of sign from + to − on a grid up to 20 Hz holds one.
std::vector<double> NaturalFrequencies() {
    const double step = 0.02;
    const int count = 1000;
    std::vector<double> grid(count);
    for (std::size_t k = 0; k < grid.size(); ++k) grid[k] = step * static_cast<double>(k + 1);

    ZmAPI_SystemSS model = UndampedModel();
    const ZmAPI_Matrix receptances = model.TransferFunction(Example::AngularVector(grid));
    const auto positive = [&](int k) { return WeightedReceptance(receptances, k) > 0.0; };
    std::vector<double> result;
    for (int k = 0; k + 1 < count; ++k)
        if (positive(k) && !positive(k + 1))
            result.push_back(BisectPole(model, step * (k + 1), step * (k + 2)));
    return result;
}

// ---- The road ------------------------------------------------------------------------------

// Density of a tyre force (N²/Hz), or, with a lead (s) other than 0, the cross density of a
// force with one that comes so much later. The library hands back a copy of the lead.
void TyreForceDensity(unsigned long long /*size*/, void* data, double w, double* re,
                      double* im) {
    const double lead = *static_cast<const double*>(data);
    const double f = w / (2.0 * std::numbers::pi);
    const double road =
        kRoughness * kReferenceWaveNumber * kReferenceWaveNumber * kSpeed / (f * f);
    const double density = kTyre * kTyre * road;
    *re = density * std::cos(w * lead);
    *im = density * std::sin(w * lead);
}

ZmAPI_Actuator TyreForce(double lead, const std::vector<const ZmAPI_Actuator*>& cross = {}) {
    return {'F',         TyreForceDensity, sizeof lead, &lead, static_cast<int>(cross.size()),
            cross.data()};
}

// The car with the road under both wheels; the rear one sees what the front one saw a delay (s)
// ago, or, without a delay, a road of its own.
//
// Slot m of the actuator of input j holds E[U_m·conj(U_j)]. The rear force is the front one
// times e^(−jwτ), so the front with the rear gives e^(+jwτ), and the rear with the front
// e^(−jwτ).
ZmAPI_SystemSS CarOnRoad(std::optional<double> delay) {
    const Dynamics car = Car(Damping(), {kFrontWheel, kRearWheel});
    const Example::Outputs accelerations =
        Example::Accelerations(car, {kBodyCentre, kFrontBody, kRearBody});
    if (!delay) {
        const ZmAPI_Actuator wheel = TyreForce(0.0);
        return Example::StateSpaceModel(car, accelerations, {&wheel, &wheel});
    }
    const ZmAPI_Actuator frontWithRear = TyreForce(+*delay);
    const ZmAPI_Actuator rearWithFront = TyreForce(-*delay);
    const ZmAPI_Actuator front = TyreForce(0.0, {nullptr, &rearWithFront});
    const ZmAPI_Actuator rear = TyreForce(0.0, {&frontWithRear, nullptr});
    return Example::StateSpaceModel(car, accelerations, {&front, &rear});
}

// ---- Densities and RMS values --------------------------------------------------------------

constexpr std::size_t kPoints = 3;
const std::array<std::string, kPoints> kPointNames{"body centre", "front axle point",
                                                   "rear axle point"};

struct RoadCase {
    std::string name;
    std::optional<double> delay;            // s
    std::array<double, kPoints> reference;  // RMS, m/s²
    std::array<std::vector<double>, kPoints> densities{};
};

std::vector<RoadCase> RoadCases() {
    const double delay = (kFrontArm + kRearArm) / kSpeed;
    return {{"with delay", delay, {0.541, 0.708, 0.749}},
            {"in phase", 0.0, {0.769, 0.773, 0.836}},
            {"uncorrelated", std::nullopt, {0.583, 0.714, 0.778}}};
}

// Acceleration densities ((m/s²)²/Hz) of the three points at the frequencies (Hz).
std::array<std::vector<double>, kPoints> Densities(ZmAPI_SystemSS model,
                                                   const std::vector<double>& frequencies) {
    // Solves at all frequencies at once; the densities then come from the stored result.
    model.TransferFunction(Example::AngularVector(frequencies));

    const double bandwidth = 1.0;  // counts only for actuators that are not densities already
    std::array<std::vector<double>, kPoints> result;
    for (const double f : frequencies) {
        const ZmAPI_Matrix density = model.PSD(Angular(f), bandwidth);
        for (int i = 0; auto& ofPoint : result) {
            ofPoint.push_back(density.ValueC(i, i).real());
            ++i;
        }
    }
    return result;
}

// The root of the integral of the density by the trapezoidal rule, over every stride-th point.
double Rms(const std::vector<double>& f, const std::vector<double>& density,
           std::size_t stride = 1) {
    double sum = 0.0;
    for (std::size_t k = 0; k + stride < f.size(); k += stride)
        sum += 0.5 * (f[k + stride] - f[k]) * (density[k] + density[k + stride]);
    return std::sqrt(sum);
}

// ---- Results -------------------------------------------------------------------------------

void ReportNaturalFrequencies(Example::Report& report) {
    const std::vector<double> references{0.976664, 1.179713, 8.430926, 10.020781};
    const std::vector<double> found = NaturalFrequencies();
    report.Section("Undamped natural frequencies (Hz)");
    report.Check("number of them", static_cast<double>(found.size()),
                 static_cast<double>(references.size()), 0.0);
    for (std::size_t k = 0; k < std::min(found.size(), references.size()); ++k)
        report.Check("mode " + std::to_string(k + 1), found[k], references[k], 1e-6);
}

void ReportRms(Example::Report& report, const std::vector<double>& frequencies,
               const std::vector<RoadCase>& cases) {
    char title[80];
    std::snprintf(title, sizeof title, "Acceleration RMS from %g to %g Hz (m/s^2)", kLowest,
                  kHighest);
    report.Section(title);
    double change = 0.0;
    for (const RoadCase& road : cases) {
        for (std::size_t i = 0; i < kPoints; ++i) {
            const double rms = Rms(frequencies, road.densities[i]);
            // The references have three decimals.
            report.Check(road.name + ", " + kPointNames[i], rms, road.reference[i],
                         0.0006 / road.reference[i]);
            change = std::max(change, std::abs(Rms(frequencies, road.densities[i], 2) - rms));
        }
    }
    report.Check("largest change with twice the step", change, 0.0, 1e-5);
}

void WriteResults(const std::filesystem::path& directory,
                  const std::vector<double>& frequencies, const std::vector<RoadCase>& cases) {
    std::vector<Example::Column> columns{{"frequency [Hz]", frequencies}};
    for (const RoadCase& road : cases)
        for (std::size_t i = 0; i < kPoints; ++i)
            columns.push_back(
                {kPointNames[i] + " acceleration density " + road.name + " [(m/s^2)^2/Hz]",
                 road.densities[i]});
    Example::WriteCsv(directory / "half_car.csv", columns);

    const RoadCase& shown = cases.front();
    Example::SvgPlot plot("Half-car at 20 m/s on a class B road, " + shown.name,
                          {"frequency (Hz)", true},
                          {"acceleration density ((m/s²)²/Hz)", true});
    for (std::size_t i = 0; i < kPoints; ++i)
        plot.Add({kPointNames[i], frequencies, shown.densities[i]});
    Example::WriteSvg(directory / "half_car.svg", plot);
}

void Run(Example::Report& report, const std::filesystem::path& directory) {
    ReportNaturalFrequencies(report);

    const std::vector<double> frequencies = Example::LogSpaced(kLowest, kHighest, kFrequencies);
    std::vector<RoadCase> cases = RoadCases();
    for (RoadCase& road : cases) road.densities = Densities(CarOnRoad(road.delay), frequencies);
    ReportRms(report, frequencies, cases);
    WriteResults(directory, frequencies, cases);
}

}  // namespace

int main(int argc, char** argv) { return Example::RunExample("half_car", argc, argv, Run); }
