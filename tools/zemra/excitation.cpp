#include "tools/zemra/excitation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace Tool {
namespace {

// What an actuator is made with: the library keeps a copy of it.
struct Handle {
    const Density* density;
};

void Evaluate(unsigned long long /*size*/, void* data, double w, double* re, double* im) {
    const Density& density = *static_cast<const Handle*>(data)->density;
    const std::complex<double> value = density(w / (2.0 * std::numbers::pi));
    *re = value.real();
    *im = value.imag();
}

ZmAPI_Actuator OfDensity(char type, const Density& density,
                         const std::vector<const ZmAPI_Actuator*>& cross = {}) {
    const Handle handle{&density};
    return {type,        Evaluate, sizeof handle, &handle, static_cast<int>(cross.size()),
            cross.data()};
}

ZmAPI_Actuator OfAmplitude(const Excitation& e) {
    if (e.rotating) return {true, e.phase == 0.0, e.magnitude, 1.0, 1.0};
    return {e.type, e.magnitude, e.phase};
}

}  // namespace

Density Tabulated(std::vector<double> frequencies, std::vector<std::complex<double>> values,
                  Interpolation interpolation) {
    return [f = std::move(frequencies), g = std::move(values),
            interpolation](double x) -> std::complex<double> {
        if (x < f.front() || x > f.back()) return 0.0;
        const auto after = std::upper_bound(f.begin(), f.end(), x);
        if (after == f.end()) return g.back();
        const auto k = static_cast<std::size_t>(after - f.begin());
        if (interpolation == Interpolation::kLinear) {
            const double t = (x - f[k - 1]) / (f[k] - f[k - 1]);
            return g[k - 1] + t * (g[k] - g[k - 1]);
        }
        const double t = std::log(x / f[k - 1]) / std::log(f[k] / f[k - 1]);
        return g[k - 1].real() * std::pow(g[k].real() / g[k - 1].real(), t);
    };
}

Density Road(double roughness, double speed) {
    constexpr double kReference = 0.1;  // cycles/m
    return [numerator = roughness * kReference * kReference * speed](double f) {
        return std::complex<double>(numerator / (f * f));
    };
}

double RoadRoughness(char roadClass) { return 16e-6 * std::pow(4.0, roadClass - 'A'); }

void Actuators::Add(const ZmAPI_Actuator& actuator) {
    owned_.push_back(std::make_unique<ZmAPI_Actuator>(actuator));
    pointers_.push_back(owned_.back().get());
}

Actuators Actuators::Amplitudes(const std::vector<Excitation>& excitations) {
    Actuators result;
    for (const Excitation& excitation : excitations) result.Add(OfAmplitude(excitation));
    return result;
}

Actuators Actuators::Densities(const std::vector<Excitation>& excitations,
                               const std::vector<CrossDensity>& cross) {
    Actuators result;
    for (std::size_t j = 0; j < excitations.size(); ++j) {
        const Excitation& excitation = excitations[j];
        if (!excitation.density) {
            result.Add(OfAmplitude(excitation));
            continue;
        }
        // Slot m of the actuator of input j holds E[u_m·conj(u_j)]; the library does not
        // mirror it.
        std::vector<std::unique_ptr<ZmAPI_Actuator>> slots(excitations.size());
        for (const CrossDensity& entry : cross) {
            if (entry.column == static_cast<int>(j)) {
                slots[static_cast<std::size_t>(entry.row)] =
                    std::make_unique<ZmAPI_Actuator>(OfDensity(excitation.type, entry.density));
            } else if (entry.row == static_cast<int>(j)) {
                result.mirrored_.push_back(std::make_unique<Density>(
                    [&density = entry.density](double f) { return std::conj(density(f)); }));
                slots[static_cast<std::size_t>(entry.column)] =
                    std::make_unique<ZmAPI_Actuator>(
                        OfDensity(excitation.type, *result.mirrored_.back()));
            }
        }
        std::vector<const ZmAPI_Actuator*> pointers;
        pointers.reserve(slots.size());
        for (const auto& slot : slots) pointers.push_back(slot.get());
        result.Add(OfDensity(excitation.type, excitation.density, pointers));
    }
    return result;
}

}  // namespace Tool
