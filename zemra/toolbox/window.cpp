#include "zemra/toolbox/window.h"

#include <cmath>

#include "zemra/message/message.h"

namespace ZEMRA::Vibration {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr char kUnknownWindow[] = "FFT: Window type not known.";

}  // namespace

cWindowHamming::cWindowHamming(int n) : cWindow(n), d_(kTwoPi / (n - 1)) {}
double cWindowHamming::Window(int j) const { return 0.54 - 0.46 * std::cos(j * d_); }

cWindowHanning::cWindowHanning(int n) : cWindow(n), d_(kTwoPi / (n - 1)) {}
double cWindowHanning::Window(int j) const { return 0.5 * (1.0 - std::cos(j * d_)); }

cWindowParzen::cWindowParzen(int n) : cWindow(n), a_(n - 1.0), b_(n + 1.0) {}
double cWindowParzen::Window(int j) const {
    return 1.0 - std::abs((j - 0.5 * a_) / (0.5 * b_));
}

cWindowWelch::cWindowWelch(int n) : cWindow(n), a_(n - 1.0), b_(n + 1.0) {}
double cWindowWelch::Window(int j) const {
    const double t = (j - 0.5 * a_) / (0.5 * b_);
    return 1.0 - t * t;
}

std::unique_ptr<cWindow> MakeWindow(ZmAPI_ToolBox::eWindow window, int n) {
    switch (window) {
        case ZmAPI_ToolBox::WINDOW_NONE:
            return nullptr;
        case ZmAPI_ToolBox::WINDOW_HAMMING:
            return std::make_unique<cWindowHamming>(n);
        case ZmAPI_ToolBox::WINDOW_HANNING:
            return std::make_unique<cWindowHanning>(n);
        case ZmAPI_ToolBox::WINDOW_PARZEN:
            return std::make_unique<cWindowParzen>(n);
        case ZmAPI_ToolBox::WINDOW_WELCH:
            return std::make_unique<cWindowWelch>(n);
    }
    throw Error(kUnknownWindow);
}

}  // namespace ZEMRA::Vibration
