// Shows that a host can link the installed library, catch its Error and get a right number.

#include <zemra/zmapi.h>

#include <complex>
#include <cstdio>
#include <string>

namespace {

// The second placeholder has no parameter, which the library reports with its own exception.
bool CatchesTheErrorOfTheLibrary() {
    using ZEMRA::Vibration::Error;
    using ZEMRA::Vibration::Message;

    Message message("%d %d", Message::INFO);
    message << 1;
    try {
        message.Print();
    } catch (const Error& error) {
        return error.Text().find("Parameter out of range") != std::string::npos;
    }
    return false;
}

// m·x″ + c·x′ + k·x = F answers x/F = 1/(k − m·w² + j·c·w).
bool ComputesTheResponseOfAnOscillator() {
    const double m = 2.0, c = 0.3, k = 50.0, w = 4.0;
    const double a[] = {0.0, -k / m, 1.0, -c / m};
    const double b[] = {0.0, 1.0 / m};
    const double position[] = {1.0, 0.0};
    const double feedThrough[] = {0.0};

    const ZmAPI_Matrix A(2, 2, a), B(2, 1, b), C(1, 2, position), D(1, 1, feedThrough);
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const ZmAPI_Actuator* const actuators[] = {&force};
    ZmAPI_SystemSS model(0.0, A, B, C, D, actuators);
    if (model.Outputs() != 1) return false;

    const ZmAPI_Complex h = model.TransferFunction(ZmAPI_Matrix(1, &w)).ValueC(0, 0, 0);
    const std::complex<double> expected = 1.0 / std::complex<double>(k - m * w * w, c * w);
    return std::abs(h.GetComplex() - expected) < 1e-14;
}

}  // namespace

int main() {
    if (!CatchesTheErrorOfTheLibrary()) {
        std::puts("the library's Error was not caught");
        return 1;
    }
    if (!ComputesTheResponseOfAnOscillator()) {
        std::puts("the oscillator's response is wrong");
        return 1;
    }
    std::puts("consumer: linked, caught and computed");
}
