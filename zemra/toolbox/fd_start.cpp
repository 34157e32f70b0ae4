#include "zemra/toolbox/fd_start.h"

#include <algorithm>

#include "zemra/toolbox/fit_function.h"

namespace ZEMRA::Vibration {
namespace {

constexpr int kFitPoints = 16;
constexpr int kSlopePoints = 8;
constexpr double kSteepestFall = -1e-4;  // of Im(H)/w at the last frequency

// Im(H)/w over w at the points begin … end − 1 whose frequency is not 0.
cFitFunction FitDamping(int begin, int end, const Matrix1D<Complex>& H,
                        const Matrix1D<double>& omega) {
    std::vector<double> w, damping;
    w.reserve(kFitPoints);
    damping.reserve(kFitPoints);
    for (int j = begin; j < end; ++j) {
        if (omega(j) == 0.0) continue;
        w.push_back(omega(j));
        damping.push_back(H(j).imag() / omega(j));
    }
    return {static_cast<int>(w.size()), damping.data(), w.data()};
}

// Re(H) extrapolated linearly to twice the last frequency.
double StiffnessBeyond(const FDData& data) {
    const int last = data.Points() - 1;
    const int first = data.Points() - std::min(data.Points(), kSlopePoints);
    const double w = data.Omega()(last);
    const double span = w - data.Omega()(first);
    const double end = data.Stiffness()(last).real();
    if (span == 0.0) return end;
    return end + w * (end - data.Stiffness()(first).real()) / span;
}

// What the data say of the parameters: static stiffness k0 and high-frequency damping c0 of
// the parallel pair, and what is left for the series connection.
struct Estimates {
    double k0 = 0.0, c0 = 0.0;
    double kBeyond, cLow;  // stiffness beyond the last frequency, low-frequency damping
    double kH, cH;         // the same without k0 and c0

    explicit Estimates(const FDData& data) {
        const int n = data.Points();
        GetK0C0(n, data.Stiffness(), data.Omega(), k0, c0);
        kBeyond = StiffnessBeyond(data);
        cLow = GetC(n, data.Stiffness(), data.Omega());
        kH = kBeyond - k0;
        cH = cLow - c0;
    }
};

FDCandidate CandidateFromData(const Estimates& e) {
    FDCandidate c{{}, {true, true, true, true, true, true}};
    auto& [K0, C0, K1, C1, K2, C2] = c.p;
    if (e.k0 == 0.0) {
        c.free[0] = c.free[4] = false;
        K1 = e.kBeyond;
    } else {
        K0 = e.k0;
        K1 = std::max(e.kH, 0.0);
    }
    if (e.c0 != 0.0) {
        C0 = e.c0;
        C2 = std::max(e.cH, 0.0);
        return c;
    }
    c.free[1] = c.free[3] = false;
    C2 = e.cLow;
    if (C2 == 0.0 && e.k0 != 0.0) {
        K0 = K1;
        K1 = 0.0;
    }
    return c;
}

}  // namespace

double GetC(int n, const Matrix1D<Complex>& H, const Matrix1D<double>& omega) {
    return std::max(FitDamping(0, std::min(n, kFitPoints), H, omega).Eval(0.0), 0.0);
}

void GetK0C0(int n, const Matrix1D<Complex>& H, const Matrix1D<double>& omega, double& K0,
             double& C0) {
    K0 = C0 = 0.0;
    if (n < 1) return;
    const int m = std::min(n, kFitPoints);
    std::vector<double> stiffness;
    stiffness.reserve(kFitPoints);
    for (int j = 0; j < m; ++j) stiffness.push_back(H(j).real());
    K0 = std::max(cFitFunction(m, stiffness.data(), omega.Data()).Eval(0.0), 0.0);

    const double w = omega(n - 1);
    if (w == 0.0) return;
    const double slope = FitDamping(n - m, n, H, omega).EvalD1(w);
    if (slope >= kSteepestFall) C0 = H(n - 1).imag() / w + w * slope;
}

std::vector<FDCandidate> FDCandidates(const FDData& data) {
    const Estimates e(data);
    const auto either = [](double x, double y) { return x != 0.0 ? x : y; };
    const double k0 = e.k0, c0 = e.c0;
    const double kH = either(e.kH, k0), k0H = either(k0, e.kH);
    const double cH = either(e.cH, c0), c0H = either(c0, e.cH);
    constexpr bool o = false, x = true;
    // K0, C0, K1, C1, K2, C2 and which of them are free
    return {{{k0, c0, 0, 0, 0, 0}, {x, x, o, o, o, o}},
            {{0, 0, kH, 0, 0, cH}, {o, o, x, o, o, x}},
            {{0, 0, k0H, 0, 0, c0H}, {o, o, x, o, o, x}},
            {{k0, c0, kH, 0, 0, cH}, {x, x, x, o, o, x}},
            {{k0, c0, k0H, 0, 0, c0H}, {x, x, x, o, o, x}},
            {{0, 0, k0H, 0, kH, cH}, {o, o, x, o, x, x}},
            {{0, 0, kH, 0, k0H, c0H}, {o, o, x, o, x, x}},
            {{0, 0, k0H, 0, k0H, c0H}, {o, o, x, o, x, x}},
            {{0, 0, 0, c0H, kH, cH}, {o, o, o, x, x, x}},
            {{0, 0, 0, cH, k0H, c0H}, {o, o, o, x, x, x}},
            {{0, 0, k0H, c0H, kH, cH}, {o, o, x, x, x, x}},
            {{0, 0, kH, cH, k0H, c0H}, {o, o, x, x, x, x}},
            {{k0, c0, k0H, c0H, kH, cH}, {x, x, x, x, x, x}},
            {{k0, c0, kH, cH, k0H, c0H}, {x, x, x, x, x, x}},
            CandidateFromData(e)};
}

}  // namespace ZEMRA::Vibration
