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
#include <exception>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/support/csv_writer.h"
#include "examples/support/svg_plot.h"
#include "zemra/zmapi.h"

namespace {

// ---- The car -------------------------------------------------------------------------------

constexpr std::size_t kCoordinates = 4;
using Coordinates = std::array<double, kCoordinates>;
using SquareMatrix = std::array<Coordinates, kCoordinates>;

constexpr double kFrontArm = 1.40, kRearArm = 1.47;              // m, centre to axle
constexpr Coordinates kMasses{420.0, 1100.0, 53.0, 76.0};        // kg, but pitch: kg·m²
constexpr double kFrontSpring = 10000.0, kRearSpring = 13000.0;  // N/m
constexpr double kDamper = 1000.0;                               // N·s/m, at each wheel
constexpr double kTyre = 200000.0;                               // N/m, each

// The upward displacement of a point is its row times q.
constexpr Coordinates kBodyCentre{1.0, 0.0, 0.0, 0.0};
constexpr Coordinates kFrontBody{1.0, -kFrontArm, 0.0, 0.0};
constexpr Coordinates kRearBody{1.0, kRearArm, 0.0, 0.0};
constexpr Coordinates kFrontWheel{0.0, 0.0, 1.0, 0.0};
constexpr Coordinates kRearWheel{0.0, 0.0, 0.0, 1.0};

constexpr double kSpeed = 20.0;               // m/s
constexpr double kRoughness = 64e-6;          // m³, ISO 8608 class B, geometric mean
constexpr double kReferenceWaveNumber = 0.1;  // cycles/m, to which the roughness refers

constexpr double kLowest = 0.05, kHighest = 50.0;  // Hz
constexpr std::size_t kFrequencies = 2001;

double Angular(double hertz) { return 2.0 * std::numbers::pi * hertz; }

Coordinates Difference(const Coordinates& a, const Coordinates& b) {
    Coordinates result{};
    for (std::size_t i = 0; i < result.size(); ++i) result[i] = a[i] - b[i];
    return result;
}

// A spring (or damper) of rate k whose elongation is e·q adds k·eᵀ·e.
void AddElement(SquareMatrix& matrix, double k, const Coordinates& e) {
    for (std::size_t i = 0; i < e.size(); ++i)
        for (std::size_t j = 0; j < e.size(); ++j) matrix[i][j] += k * e[i] * e[j];
}

SquareMatrix Stiffness() {
    SquareMatrix K{};
    AddElement(K, kFrontSpring, Difference(kFrontBody, kFrontWheel));
    AddElement(K, kRearSpring, Difference(kRearBody, kRearWheel));
    AddElement(K, kTyre, kFrontWheel);
    AddElement(K, kTyre, kRearWheel);
    return K;
}

SquareMatrix Damping() {
    SquareMatrix C{};
    AddElement(C, kDamper, Difference(kFrontBody, kFrontWheel));
    AddElement(C, kDamper, Difference(kRearBody, kRearWheel));
    return C;
}

// ---- First-order form ----------------------------------------------------------------------

// A matrix of the host, row by row.
class RowMajor {
  public:
    RowMajor(std::size_t rows, std::size_t columns)
        : rows_(rows), columns_(columns), values_(rows * columns) {}

    double& operator()(std::size_t i, std::size_t j) { return values_[i * columns_ + j]; }
    double operator()(std::size_t i, std::size_t j) const { return values_[i * columns_ + j]; }
    std::size_t Columns() const { return columns_; }
    ZmAPI_Matrix ForTheLibrary() const {
        return {values_.data(), static_cast<int>(rows_), static_cast<int>(columns_)};
    }

  private:
    std::size_t rows_, columns_;
    std::vector<double> values_;
};

struct Dynamics {
    RowMajor A, B;
};

struct Outputs {
    RowMajor C, D;
};

// A = [0 I; −M⁻¹·K −M⁻¹·C] and B = [0; M⁻¹·F], where column j of F is the force direction j.
Dynamics FirstOrder(const SquareMatrix& damping, const SquareMatrix& stiffness,
                    const std::vector<Coordinates>& forces) {
    const std::size_t n = kCoordinates;
    Dynamics result{RowMajor(2 * n, 2 * n), RowMajor(2 * n, forces.size())};
    for (std::size_t i = 0; i < n; ++i) {
        result.A(i, n + i) = 1.0;
        for (std::size_t j = 0; j < n; ++j) {
            result.A(n + i, j) = -stiffness[i][j] / kMasses[i];
            result.A(n + i, n + j) = -damping[i][j] / kMasses[i];
        }
        for (std::size_t j = 0; j < forces.size(); ++j)
            result.B(n + i, j) = forces[j][i] / kMasses[i];
    }
    return result;
}

Outputs Displacements(const Dynamics& dynamics, const std::vector<Coordinates>& points) {
    Outputs result{RowMajor(points.size(), dynamics.A.Columns()),
                   RowMajor(points.size(), dynamics.B.Columns())};
    for (std::size_t i = 0; i < points.size(); ++i)
        for (std::size_t k = 0; k < kCoordinates; ++k) result.C(i, k) = points[i][k];
    return result;
}

// The lower halves of A and B give q̈, and a point's acceleration is its row times q̈.
RowMajor TimesLowerHalf(const std::vector<Coordinates>& points, const RowMajor& matrix) {
    RowMajor product(points.size(), matrix.Columns());
    for (std::size_t i = 0; i < points.size(); ++i)
        for (std::size_t j = 0; j < matrix.Columns(); ++j)
            for (std::size_t k = 0; k < kCoordinates; ++k)
                product(i, j) += points[i][k] * matrix(kCoordinates + k, j);
    return product;
}

Outputs Accelerations(const Dynamics& dynamics, const std::vector<Coordinates>& points) {
    return {TimesLowerHalf(points, dynamics.A), TimesLowerHalf(points, dynamics.B)};
}

ZmAPI_SystemSS MakeModel(const Dynamics& dynamics, const Outputs& outputs,
                         const std::vector<const ZmAPI_Actuator*>& actuators) {
    const double time = 0.0;
    ZmAPI_SystemSS model(time, dynamics.A.ForTheLibrary(), dynamics.B.ForTheLibrary(),
                         outputs.C.ForTheLibrary(), outputs.D.ForTheLibrary(),
                         actuators.data());
    if (model.Error()) throw std::runtime_error("the library refused the model");
    return model;
}

// ---- Undamped natural frequencies ----------------------------------------------------------

// Unit forces on, and displacements of, all four coordinates of the car without its dampers.
ZmAPI_SystemSS UndampedModel() {
    std::vector<Coordinates> all(kCoordinates);
    for (std::size_t i = 0; i < all.size(); ++i) all[i][i] = 1.0;
    const Dynamics undamped = FirstOrder(SquareMatrix{}, Stiffness(), all);
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const std::vector<const ZmAPI_Actuator*> forces(kCoordinates, &force);
    return MakeModel(undamped, Displacements(undamped, all), forces);
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
        const double w = Angular(f);
        const ZmAPI_Matrix receptances = model.TransferFunction(ZmAPI_Matrix(1, &w));
        (WeightedReceptance(receptances, 0) > 0.0 ? below : above) = f;
    }
    return 0.5 * (below + above);
}

// In Hz. Every change of sign from + to − on a grid up to 20 Hz holds one.
std::vector<double> NaturalFrequencies() {
    const double step = 0.02;
    const int count = 1000;
    std::vector<double> w(count);
    for (std::size_t k = 0; k < w.size(); ++k)
        w[k] = Angular(step * static_cast<double>(k + 1));

    ZmAPI_SystemSS model = UndampedModel();
    const ZmAPI_Matrix receptances = model.TransferFunction(ZmAPI_Matrix(count, w.data()));
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
    const Dynamics car = FirstOrder(Damping(), Stiffness(), {kFrontWheel, kRearWheel});
    const Outputs accelerations = Accelerations(car, {kBodyCentre, kFrontBody, kRearBody});
    if (!delay) {
        const ZmAPI_Actuator wheel = TyreForce(0.0);
        return MakeModel(car, accelerations, {&wheel, &wheel});
    }
    const ZmAPI_Actuator frontWithRear = TyreForce(+*delay);
    const ZmAPI_Actuator rearWithFront = TyreForce(-*delay);
    const ZmAPI_Actuator front = TyreForce(0.0, {nullptr, &rearWithFront});
    const ZmAPI_Actuator rear = TyreForce(0.0, {&frontWithRear, nullptr});
    return MakeModel(car, accelerations, {&front, &rear});
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

std::vector<double> LogSpaced(double lowest, double highest, std::size_t count) {
    std::vector<double> result(count);
    for (std::size_t k = 0; k < count; ++k) {
        const double t = static_cast<double>(k) / static_cast<double>(count - 1);
        result[k] = lowest * std::pow(highest / lowest, t);
    }
    return result;
}

// Acceleration densities ((m/s²)²/Hz) of the three points at the frequencies (Hz).
std::array<std::vector<double>, kPoints> Densities(ZmAPI_SystemSS model,
                                                   const std::vector<double>& frequencies) {
    std::vector<double> w(frequencies.size());
    std::transform(frequencies.begin(), frequencies.end(), w.begin(), Angular);
    // Solves at all frequencies at once; the densities then come from the stored result.
    model.TransferFunction(ZmAPI_Matrix(static_cast<int>(w.size()), w.data()));

    const double bandwidth = 1.0;  // counts only for actuators that are not densities already
    std::array<std::vector<double>, kPoints> result;
    for (const double wk : w) {
        const ZmAPI_Matrix density = model.PSD(wk, bandwidth);
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

bool ReportNaturalFrequencies() {
    const std::vector<double> references{0.976664, 1.179713, 8.430926, 10.020781};
    const std::vector<double> found = NaturalFrequencies();
    std::printf("Undamped natural frequencies (Hz)\n");
    std::printf("  %12s %12s %15s\n", "computed", "reference", "relative error");
    bool good = found.size() == references.size();
    for (std::size_t k = 0; k < std::min(found.size(), references.size()); ++k) {
        const double error = found[k] / references[k] - 1.0;
        std::printf("  %12.6f %12.6f %15.1e\n", found[k], references[k], error);
        good = good && std::abs(error) <= 1e-6;
    }
    if (found.size() != references.size())
        std::printf("  found %zu of them, not %zu\n", found.size(), references.size());
    return good;
}

bool ReportRms(const std::vector<double>& frequencies, const std::vector<RoadCase>& cases) {
    std::printf("\nAcceleration RMS from %g to %g Hz (m/s^2)\n", kLowest, kHighest);
    std::printf("  %-13s %-17s %9s %10s %15s\n", "road", "point", "computed", "reference",
                "relative error");
    bool good = true;
    double change = 0.0;
    for (const RoadCase& road : cases) {
        for (std::size_t i = 0; i < kPoints; ++i) {
            const double rms = Rms(frequencies, road.densities[i]);
            const double error = rms - road.reference[i];
            std::printf("  %-13s %-17s %9.4f %10.3f %15.1e\n", road.name.c_str(),
                        kPointNames[i].c_str(), rms, road.reference[i],
                        error / road.reference[i]);
            good = good && std::abs(error) <= 0.0006;
            change = std::max(change, std::abs(Rms(frequencies, road.densities[i], 2) - rms));
        }
    }
    std::printf("  Twice the frequency step changes these by at most %.1e m/s^2.\n", change);
    return good && change < 1e-5;
}

std::ofstream OpenForWriting(const std::filesystem::path& file) {
    std::ofstream out(file);
    if (!out) throw std::runtime_error(file.string() + ": cannot be written");
    return out;
}

void Close(std::ofstream& out, const std::filesystem::path& file) {
    out.close();
    if (!out) throw std::runtime_error(file.string() + ": cannot be written");
}

void WriteCsv(const std::filesystem::path& file, const std::vector<double>& frequencies,
              const std::vector<RoadCase>& cases) {
    std::ofstream out = OpenForWriting(file);
    std::vector<std::string> names{"frequency [Hz]"};
    for (const RoadCase& road : cases)
        for (const std::string& point : kPointNames)
            names.push_back(point + " acceleration density " + road.name + " [(m/s^2)^2/Hz]");
    Example::CsvWriter csv(out, names);
    for (std::size_t k = 0; k < frequencies.size(); ++k) {
        std::vector<double> row{frequencies[k]};
        for (const RoadCase& road : cases)
            for (const auto& density : road.densities) row.push_back(density[k]);
        csv.Row(row);
    }
    Close(out, file);
}

void WritePlot(const std::filesystem::path& file, const std::vector<double>& frequencies,
               const RoadCase& road) {
    std::ofstream out = OpenForWriting(file);
    Example::SvgPlot plot("Half-car at 20 m/s on a class B road, " + road.name,
                          {"frequency (Hz)", true},
                          {"acceleration density ((m/s²)²/Hz)", true});
    for (std::size_t i = 0; i < kPoints; ++i)
        plot.Add({kPointNames[i], frequencies, road.densities[i]});
    plot.Write(out);
    Close(out, file);
}

bool Run(const std::filesystem::path& directory) {
    const bool goodFrequencies = ReportNaturalFrequencies();

    const std::vector<double> frequencies = LogSpaced(kLowest, kHighest, kFrequencies);
    std::vector<RoadCase> cases = RoadCases();
    for (RoadCase& road : cases) road.densities = Densities(CarOnRoad(road.delay), frequencies);
    const bool goodRms = ReportRms(frequencies, cases);

    WriteCsv(directory / "half_car.csv", frequencies, cases);
    WritePlot(directory / "half_car.svg", frequencies, cases.front());
    return goodFrequencies && goodRms;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (Run(argc > 1 ? argv[1] : ".")) return 0;
        std::fprintf(stderr, "half_car: a figure misses its reference\n");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "half_car: %s\n", error.what());
    }
    return 1;
}
