#pragma once

#include <complex>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zemra/zmapi.h"

namespace Tool {

/// A power or cross spectral density per Hz, as a function of the frequency in Hz.
using Density = std::function<std::complex<double>(double hertz)>;

enum class Interpolation {
    kLog,    ///< along straight lines over logarithmic axes; values must be positive
    kLinear  ///< along straight lines
};

/// The density through the points (frequencies[k], values[k]), frequencies ascending; zero
/// before the first and after the last.
Density Tabulated(std::vector<double> frequencies, std::vector<std::complex<double>> values,
                  Interpolation interpolation);

/// The displacement of a vehicle's contact with a road of the geometric mean of an ISO 8608
/// class: G(f) = Gd(n0)·n0²·v/f², n0 = 0.1 cycles/m.
///
///   roughness  Gd(n0) in m³
///   speed      v in m/s
///
/// The answer at 0 Hz is not finite.
Density Road(double roughness, double speed);

/// Gd(n0) in m³ of class 'A' to 'H': 16e-6 for A, four times as much for each further letter.
double RoadRoughness(char roadClass);

/// The excitation at one input.
struct Excitation {
    char type = 'F';
    std::string description = "unit amplitude";

    // The amplitude: a phasor, or that of a rotating imbalance, which grows with w².
    bool hasAmplitude = false;  // was given, not assumed
    double magnitude = 1.0, phase = 0.0;
    bool rotating = false;  // then magnitude is mass times offset, and the phase 0 or −90

    Density density;  // empty without one

    // What the table of a density covers, in Hz.
    std::optional<std::pair<double, double>> covered;
};

/// E[u_row·conj(u_column)] of two inputs; its conjugate stands at (column, row).
struct CrossDensity {
    int row, column;
    Density density;
};

/// The actuators of a model, as its constructors take them. Densities are called by the library
/// through pointers to them: the excitations must outlive the models made with the actuators.
class Actuators {
  public:
    /// The inputs' amplitudes.
    static Actuators Amplitudes(const std::vector<Excitation>& excitations);
    /// The inputs' densities, or the amplitude of one that has none.
    static Actuators Densities(const std::vector<Excitation>& excitations,
                               const std::vector<CrossDensity>& cross);

    const ZmAPI_Actuator* const* Get() const { return pointers_.data(); }

  private:
    std::vector<std::unique_ptr<ZmAPI_Actuator>> owned_;
    std::vector<std::unique_ptr<Density>> mirrored_;
    std::vector<const ZmAPI_Actuator*> pointers_;

    void Add(const ZmAPI_Actuator& actuator);
};

}  // namespace Tool
