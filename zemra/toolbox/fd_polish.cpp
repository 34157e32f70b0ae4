#include "zemra/toolbox/fd_polish.h"

#include <algorithm>
#include <cmath>

#include "zemra/message/message.h"
#include "zemra/solver/gauss.h"

namespace ZEMRA::Vibration {
namespace {

constexpr int kSteps = 200;
constexpr int kStalled = 10;     // steps in a row that gain next to nothing
constexpr double kGain = 1e-12;  // next to nothing, relative to the error
constexpr double kFirstDamping = 1e-3;
constexpr double kRigid = 1e7;  // relative to the largest stiffness
constexpr double kLeastDamping = 1e-14, kMostDamping = 1e10;

// The lower triangle of JᵀJ, and Jᵀr, r the differences of the stiffness, real and imaginary
// parts.
struct Normal {
    std::array<std::array<double, 6>, 6> jtj{};
    std::array<double, 6> jtr{};

    // With Z = K + iwC, H = Z0 + Z1·Z2/(Z1 + Z2), so that dH/dZ1 = (Z2/(Z1 + Z2))² and dH/dZ2
    // = (Z1/(Z1 + Z2))². At w = 0 beside dampers alone the ratio is that of the dampers.
    Normal(const FDData& data, const FDParameters& p) {
        const double Ks = p[2] + p[4];
        const double Cs = p[3] + p[5];
        const bool branch = Ks != 0.0 || Cs != 0.0;
        const auto squaredRatio = [&](double K, double C, double w) {
            const Complex sum(Ks, w * Cs);
            const Complex ratio = !branch      ? 0.0
                                  : sum == 0.0 ? Complex(Cs != 0.0 ? C / Cs : 0.0)
                                               : Complex(K, w * C) / sum;
            return ratio * ratio;
        };
        const Matrix1D<Complex> fitted =
            doFDEvaluate(data.Points(), p[0], p[1], p[2], p[3], p[4], p[5], data.Omega());
        for (int k = 0; k < data.Points(); ++k) {
            const double w = data.Omega()(k);
            const Complex r = fitted(k) - data.Stiffness()(k);
            const Complex d1 = squaredRatio(p[4], p[5], w);
            const Complex d2 = squaredRatio(p[2], p[3], w);
            Add({1.0, Complex(0.0, w), d1, Complex(0.0, w) * d1, d2, Complex(0.0, w) * d2}, r);
        }
    }

  private:
    void Add(const std::array<Complex, 6>& d, const Complex& r) {
        for (std::size_t i = 0; i < 6; ++i) {
            jtr[i] += d[i].real() * r.real() + d[i].imag() * r.imag();
            for (std::size_t j = 0; j <= i; ++j)
                jtj[i][j] += d[i].real() * d[j].real() + d[i].imag() * d[j].imag();
        }
    }
};

// The step from p within the limits; false when there is none. A parameter that the step would
// take past a limit goes there, and the others are solved for once more beside it: clipped
// instead, it would spoil their step, since the parameters make up for each other.
class BoundedStep {
  public:
    BoundedStep(const Normal& normal, const FDParameters& p, const FDParameters& limit)
        : normal_(normal), p_(p), limit_(limit) {}

    bool Solve(double damping, FDParameters& step) {
        for (std::size_t i = 0; i < 6; ++i) {
            const double slope = normal_.jtr[i];
            fixed_[i] = !(normal_.jtj[i][i] > 0.0) || (p_[i] <= 0.0 && slope >= 0.0) ||
                        (p_[i] >= limit_[i] && slope <= 0.0);
        }
        step = {};
        do {
            if (!SolveForFree(damping, step)) return false;
        } while (FixPastLimits(step));
        return true;
    }

  private:
    const Normal& normal_;
    const FDParameters& p_;
    const FDParameters& limit_;
    std::array<bool, 6> fixed_{};

    // Scaled to a unit diagonal, since springs and dampers differ by the frequency.
    bool SolveForFree(double damping, FDParameters& step) const {
        Matrix2D<double> a(6, 6);
        Matrix1D<double> b(6);
        std::array<double, 6> scale{};
        for (std::size_t i = 0; i < 6; ++i)
            if (!fixed_[i]) scale[i] = 1.0 / std::sqrt(normal_.jtj[i][i]);
        for (std::size_t i = 0; i < 6; ++i) {
            const int row = static_cast<int>(i);
            double slope = normal_.jtr[i];
            for (std::size_t j = 0; j < 6; ++j) {
                const double element = normal_.jtj[std::max(i, j)][std::min(i, j)];
                a(row, static_cast<int>(j)) = scale[i] * element * scale[j];
                if (fixed_[j]) slope += element * step[j];
            }
            a(row, row) = 1.0 + damping;
            b(row) = -scale[i] * slope;
        }
        try {
            Gauss<double>::Solve(a, b);
        } catch (const Error&) {
            return false;
        }
        for (std::size_t i = 0; i < 6; ++i)
            if (!fixed_[i]) step[i] = scale[i] * b(static_cast<int>(i));
        return std::all_of(step.begin(), step.end(), [](double x) { return std::isfinite(x); });
    }

    bool FixPastLimits(FDParameters& step) {
        bool any = false;
        for (std::size_t i = 0; i < 6; ++i) {
            const double within = std::clamp(p_[i] + step[i], 0.0, limit_[i]);
            if (fixed_[i] || within == p_[i] + step[i]) continue;
            step[i] = within - p_[i];
            fixed_[i] = any = true;
        }
        return any;
    }
};

}  // namespace

FDParameters LargestFDParameters(const FDData& data) {
    double highest = 0.0;
    for (int j = 0; j < data.Points(); ++j)
        highest = std::max(highest, std::abs(data.Omega()(j)));
    const double spring = kRigid * data.LargestStiffness();
    const double damper = spring / (highest > 0.0 ? highest : 1.0);
    return {spring, damper, spring, damper, spring, damper};
}

FDParameters PolishFDElement(const FDData& data, const FDParameters& start) {
    const FDParameters limit = LargestFDParameters(data);
    const auto moved = [&](FDParameters p, const FDParameters& step) {
        for (std::size_t i = 0; i < p.size(); ++i)
            p[i] = std::clamp(p[i] + step[i], 0.0, limit[i]);
        return p;
    };
    FDParameters p = moved(start, {});
    double error = data.SquaredError(p);
    double damping = kFirstDamping;
    Normal normal(data, p);
    int stalled = 0;
    for (int k = 0; k < kSteps && error > 0.0; ++k) {
        FDParameters step{};
        const bool solved = BoundedStep(normal, p, limit).Solve(damping, step);
        const FDParameters next = moved(p, step);
        const double nextError = solved ? data.SquaredError(next) : error;
        if (nextError < error) {
            stalled = error - nextError <= kGain * error ? stalled + 1 : 0;
            if (stalled == kStalled) return next;
            p = next;
            error = nextError;
            normal = Normal(data, p);
            damping = std::max(damping / 8.0, kLeastDamping);
        } else if ((damping *= 4.0) > kMostDamping) {
            return p;
        }
    }
    return p;
}

}  // namespace ZEMRA::Vibration
