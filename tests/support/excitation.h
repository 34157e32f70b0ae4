#pragma once

#include <complex>
#include <functional>

namespace ZEMRA::Vibration::tests {

/// Evaluation functions written as one lambda of channel and angular frequency; counts its
/// calls. An actuator takes Evaluate with a Block as its data. Must outlive all its actuators.
struct Excitation {
    struct Block {
        Excitation* source;
        int channel;
    };

    std::function<std::complex<double>(int channel, double w)> value;
    int calls = 0;

    static void Evaluate(unsigned long long, void* data, double w, double* re, double* im) {
        const Block& block = *static_cast<const Block*>(data);
        ++block.source->calls;
        const std::complex<double> z = block.source->value(block.channel, w);
        *re = z.real();
        *im = z.imag();
    }
};

/// What drives a model where nothing else is said.
inline std::complex<double> Amplitude(int input, double w) { return {1.0 + input, 0.5 * w}; }

}  // namespace ZEMRA::Vibration::tests
