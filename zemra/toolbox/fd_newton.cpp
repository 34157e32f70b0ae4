#include "zemra/toolbox/fd_newton.h"

#include <algorithm>
#include <cmath>

#include "zemra/message/message.h"
#include "zemra/solver/gauss_full.h"

namespace ZEMRA::Vibration {
namespace {

constexpr double kDifference = 1e-5;
constexpr double kNearZero = 1e-4;  // of the norm: may be set to 0 at once
constexpr int kHalvings = 11;

double Norm(const FDFree& free, const FDParameters& p) {
    double sum = 0.0;
    for (std::size_t i = 0; i < p.size(); ++i)
        if (free[i]) sum += p[i] * p[i];
    return sum > 0.0 ? std::sqrt(sum) : 1.0;
}

// The error around p, as differences of step h.
class Differences {
  public:
    Differences(const FDData& data, const FDFree& free, const FDParameters& p, double error)
        : data_(data), free_(free), p_(p), error_(error) {}

    // Hessian and negative gradient. A parameter that is not free gets the equation Δ = 0.
    void Fill(Matrix2D<double>& hessian, Matrix1D<double>& rhs) const {
        constexpr double h = kDifference;
        const int n = hessian.Size(0);
        for (int i = 0; i < n; ++i) {
            hessian(i, i) = 1.0;
            if (!IsFree(i)) continue;
            const double above = At(i, h);
            const double below = At(i, -h);
            rhs(i) = -((above - below) * 0.5 / h);
            hessian(i, i) = (above + below - 2.0 * error_) / (h * h);
            for (int j = 0; j < i; ++j)
                if (IsFree(j)) hessian(i, j) = hessian(j, i) = Mixed(i, j);
        }
    }

  private:
    const FDData& data_;
    const FDFree& free_;
    const FDParameters& p_;
    double error_;

    bool IsFree(int i) const { return free_[static_cast<std::size_t>(i)]; }

    double At(int i, double di, int j = 0, double dj = 0.0) const {
        FDParameters p = p_;
        p[static_cast<std::size_t>(i)] += di;
        p[static_cast<std::size_t>(j)] += dj;
        return data_.SquaredError(p);
    }

    double Mixed(int i, int j) const {
        constexpr double h = kDifference;
        const double above = (At(i, h, j, h) - At(i, -h, j, h)) * 0.5 / h;
        const double below = (At(i, h, j, -h) - At(i, -h, j, -h)) * 0.5 / h;
        return (above - below) * 0.5 / h;
    }
};

bool Solve(const Matrix2D<double>& hessian, Matrix1D<double>& step) {
    try {
        if (!GaussFull<double>::Solve(hessian, step)) return false;
    } catch (const Error&) {  // a flat or ill-posed error: no step
        return false;
    }
    return std::all_of(step.Data(), step.Data() + step.Size(0),
                       [](double x) { return std::isfinite(x); });
}

// How much of the step to make: 1, or so much that a parameter that would become negative
// goes half way to 0.
double StepLength(const FDFree& free, const FDParameters& p, const FDParameters& step) {
    const double norm = Norm(free, p);
    double length = 1.0;
    for (std::size_t i = 0; i < p.size(); ++i) {
        if (!free[i] || step[i] == 0.0 || p[i] < 0.0) continue;
        if (length * step[i] + p[i] < 0.0 && p[i] / norm > kNearZero)
            length = -0.5 * p[i] / step[i];
    }
    return length;
}

}  // namespace

double NewtonStep(const FDData& data, const FDFree& free, FDParameters& p) {
    const double start = data.SquaredError(p);
    Matrix2D<double> hessian(6, 6);
    Matrix1D<double> solution(6);
    Differences(data, free, p, start).Fill(hessian, solution);
    if (!Solve(hessian, solution)) return start;

    FDParameters step{};
    std::copy_n(solution.Data(), step.size(), step.begin());
    const double length = StepLength(free, p, step);
    FDParameters q = p;
    for (std::size_t i = 0; i < q.size(); ++i) {
        if (!free[i]) continue;
        q[i] = std::max(p[i] + length * step[i], 0.0);
        step[i] = q[i] - p[i];  // what was moved, from here on
    }

    for (int halvings = 0; halvings <= kHalvings; ++halvings) {
        const double error = data.SquaredError(q);
        if (error < start) {
            p = q;
            return error;
        }
        for (std::size_t i = 0; i < q.size(); ++i) {
            if (!free[i]) continue;
            step[i] *= 0.5;
            q[i] -= step[i];
        }
    }
    return start;
}

}  // namespace ZEMRA::Vibration
