/// A shaker table: a mass on a spring and a damper, on a platform whose motion is prescribed,
/// as a displacement or as an acceleration.
///
///     shaker_table [DIRECTORY]
///
/// Writes shaker_table.csv, shaker_table_magnitude.svg and shaker_table_phase.svg into the
/// directory (the current one by default) and prints what it found beside the transmissibility
///
///     T(w) = (1 + 2j·ζ·r)/(1 − r² + 2j·ζ·r),    r = w/√(k/m), ζ = c/(2·√(k·m)),
///
/// which does not depend on the platform. Exits with 1 when a figure misses its bound or a file
/// cannot be written.
///
/// The model has the coordinates q = (platform, mass), both free to move; its one input is the
/// force of the shaker on the platform. A motion actuator turns that force into whatever
/// produces the prescribed motion, which the last row of the outputs measures: the platform's
/// displacement for type 'D', its acceleration for type 'A'.

#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <filesystem>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "examples/support/frequencies.h"
#include "examples/support/mechanics.h"
#include "examples/support/report.h"
#include "zemra/zmapi.h"

using Example::Direction, Example::Dynamics, Example::Matrix, Example::Outputs;

namespace {

using Curve = std::vector<std::complex<double>>;

constexpr double kMass = 2.0, kDamper = 4.0, kSpring = 800.0;  // kg, N·s/m, N/m
constexpr std::array<double, 2> kPlatformMasses{5.0, 50.0};    // kg

constexpr double kShown = 15.0 / (2.0 * std::numbers::pi);              // Hz: 15 rad/s
constexpr std::complex<double> kTransmissibility{2.249009, -0.214116};  // there

constexpr double kLowest = 0.3, kHighest = 30.0;  // Hz
constexpr std::size_t kFrequencies = 401;

const Direction kPlatform{1.0, 0.0}, kLoad{0.0, 1.0};
enum Output { kDisplacement, kAcceleration, kPrescribed };

std::complex<double> Transmissibility(double w) {
    const double r = w / std::sqrt(kSpring / kMass);
    const double zeta = kDamper / (2.0 * std::sqrt(kSpring * kMass));
    const std::complex<double> damping(0.0, 2.0 * zeta * r);
    return (1.0 + damping) / (1.0 - r * r + damping);
}

Dynamics Table(double platformMass) {
    Matrix C(2, 2), K(2, 2);
    Example::AddElement(C, kDamper, Example::Difference(kLoad, kPlatform));
    Example::AddElement(K, kSpring, Example::Difference(kLoad, kPlatform));
    return Example::FirstOrder(Example::Diagonal({platformMass, kMass}), C, K, {kPlatform});
}

// The load's displacement and acceleration, and the motion that the actuator prescribes.
Outputs Motions(const Dynamics& table, char type) {
    Outputs result = Example::NoOutputs(table, 3);
    Example::SetDisplacement(result, kDisplacement, kLoad);
    Example::SetAcceleration(result, kAcceleration, table, kLoad);
    if (type == 'D')
        Example::SetDisplacement(result, kPrescribed, kPlatform);
    else
        Example::SetAcceleration(result, kPrescribed, table, kPlatform);
    return result;
}

// The load's motions per unit of the platform's motion of the same kind.
struct Transmitted {
    Curve displacement, acceleration;
};

// A response per unit prescribed displacement is one per unit acceleration times −w², and an
// acceleration is a displacement times −w².
template <typename Model>
Transmitted Transmissibilities(Model& model, char type,
                               const std::vector<double>& frequencies) {
    const ZmAPI_Matrix H = model.TransferFunction(Example::AngularVector(frequencies));
    Transmitted result{Example::Response(H, kDisplacement, 0),
                       Example::Response(H, kAcceleration, 0)};
    for (std::size_t k = 0; k < frequencies.size(); ++k) {
        const double w = Example::Angular(frequencies[k]);
        if (type == 'D')
            result.acceleration[k] /= -w * w;
        else
            result.displacement[k] *= -w * w;
    }
    return result;
}

// The table in state-space form, in modal form, and in the modal form that the state-space
// model converts to. Nothing holds the platform, which the library warns of.
class Models {
  public:
    Models(const Dynamics& table, char type)
        : type_(type),
          platform_(type, 1.0, 0.0),
          stateSpace_(Example::StateSpaceModel(table, Motions(table, type), {&platform_})),
          modal_(Example::ModalModel(table, Motions(table, type), {&platform_})),
          converted_(stateSpace_) {}

    struct Result {
        std::string form;
        Transmitted curves;
    };
    std::vector<Result> InEveryForm(const std::vector<double>& frequencies) {
        return {{"state-space", Transmissibilities(stateSpace_, type_, frequencies)},
                {"modal", Transmissibilities(modal_, type_, frequencies)},
                {"converted", Transmissibilities(converted_, type_, frequencies)}};
    }

  private:
    char type_;
    ZmAPI_Actuator platform_;
    ZmAPI_SystemSS stateSpace_;
    ZmAPI_System modal_, converted_;
};

std::string Describe(double platformMass, char type) {
    return std::string(type == 'D' ? "displacement" : "acceleration") + " of a " +
           std::to_string(static_cast<int>(platformMass)) + " kg platform";
}

// Every curve by name for the file, and those that are drawn for the plots.
class Results {
  public:
    explicit Results(std::vector<double> frequencies)
        : columns_{{"frequency [Hz]", std::move(frequencies)}} {}

    void Add(const std::string& name, const Curve& curve, bool drawn) {
        const std::vector<double> magnitudes = Example::Magnitudes(curve);
        const std::vector<double> phases = Example::Phases(curve);
        columns_.push_back({name + " magnitude [m/m]", magnitudes});
        columns_.push_back({name + " phase [degrees]", phases});
        if (!drawn) return;
        magnitude_.Add({name, columns_[0].values, magnitudes});
        phase_.Add({name, columns_[0].values, phases});
    }

    void Write(const std::filesystem::path& directory) const {
        Example::WriteCsv(directory / "shaker_table.csv", columns_);
        Example::WriteSvg(directory / "shaker_table_magnitude.svg", magnitude_);
        Example::WriteSvg(directory / "shaker_table_phase.svg", phase_);
    }

  private:
    static constexpr char kTitle[] = "Load of 2 kg on 800 N/m and 4 N·s/m on a shaker table";

    std::vector<Example::Column> columns_;
    Example::SvgPlot magnitude_{
        kTitle, {"frequency (Hz)", true}, {"transmissibility (m/m)", true}};
    Example::SvgPlot phase_{kTitle, {"frequency (Hz)", true}, {"phase (degrees)"}};
};

void Run(Example::Report& report, const std::filesystem::path& directory) {
    const std::vector<double> frequencies = Example::LogSpaced(kLowest, kHighest, kFrequencies);
    Curve exact(frequencies.size());
    for (std::size_t k = 0; k < exact.size(); ++k)
        exact[k] = Transmissibility(Example::Angular(frequencies[k]));

    Results results(frequencies);
    results.Add("formula", exact, true);
    for (const char type : {'D', 'A'}) {
        for (const double mass : kPlatformMasses) {
            const std::string name = Describe(mass, type);
            report.Section("Transmissibility, prescribed " + name);
            Models models(Table(mass), type);
            for (const auto& [form, curves] : models.InEveryForm({kShown}))
                report.Check(form + " at 15 rad/s", curves.displacement.front(),
                             kTransmissibility, 1e-6);
            const auto sweeps = models.InEveryForm(frequencies);
            for (const auto& [form, curves] : sweeps) {
                report.CheckCurve(form + ", displacement", curves.displacement, exact, 1e-12);
                report.CheckCurve(form + ", acceleration", curves.acceleration, exact, 1e-12);
            }
            // Curves that coincide can be told apart in a plot when they are three, not five.
            const bool drawn = (type == 'D') == (mass == kPlatformMasses.front());
            results.Add(name, sweeps.front().curves.displacement, drawn);
        }
    }
    results.Write(directory);
}

}  // namespace

int main(int argc, char** argv) { return Example::RunExample("shaker_table", argc, argv, Run); }
