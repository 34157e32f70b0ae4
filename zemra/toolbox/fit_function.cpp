#include "zemra/toolbox/fit_function.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

#include "zemra/message/message.h"
#include "zemra/solver/gauss.h"

namespace ZEMRA::Vibration {
namespace {

constexpr int kMostCoefficients = 8;
constexpr double kSmallResidual = 1e-6;

double ScaleOf(int n, const double* x) {
    const double scale = n > 0 ? x[n - 1] / 2.0 : 0.0;
    return scale != 0.0 ? scale : 1.0;
}

// A polynomial through more would not be determined by the points.
int MostCoefficients(const std::vector<double>& t) {
    const auto distinct = static_cast<int>(std::set<double>(t.begin(), t.end()).size());
    return std::min(distinct, kMostCoefficients);
}

}  // namespace

cFitFunction::cFitFunction(int n, const double* y, const double* x) {
    const double scale = ScaleOf(n, x);
    std::vector<double> t;
    t.reserve(static_cast<std::size_t>(std::max(n, 0)));
    for (int j = 0; j < n; ++j) t.push_back(x[j] / scale);

    double previous = 1.0;
    const int most = MostCoefficients(t);
    for (int m = 1; m <= most; ++m) {
        const Matrix1D<double> kept = c_;
        c_ = Matrix1D<double>(m);
        double residual;
        try {
            residual = fitFunction(n, y, t.data());
        } catch (const Error&) {  // abscissae too close together
            c_ = kept;
            break;
        }
        if (!std::isfinite(residual) && m > 1) {
            c_ = kept;
            break;
        }
        if (residual <= kSmallResidual || std::abs(previous - residual) <= kSmallResidual)
            break;
        previous = residual;
    }

    double power = 1.0;
    for (int k = 1; k < c_.Size(0); ++k) c_(k) /= power *= scale;
}

double cFitFunction::Eval(double x) const {
    double sum = 0.0;
    for (int k = c_.Size(0) - 1; k >= 0; --k) sum = sum * x + c_(k);
    return sum;
}

double cFitFunction::EvalD1(double x) const {
    double sum = 0.0;
    for (int k = c_.Size(0) - 1; k >= 1; --k) sum = sum * x + k * c_(k);
    return sum;
}

double cFitFunction::fitFunction(int n, const double* y, const double* t) {
    const int m = c_.Size(0);
    Matrix2D<double> normal(m, m);
    Matrix1D<double> rhs(m);
    std::vector<double> powers(static_cast<std::size_t>(m));
    for (int j = 0; j < n; ++j) {
        double power = 1.0;
        for (double& phi : powers) {
            phi = power;
            power *= t[j];
        }
        for (int k = 0; k < m; ++k) {
            const double phi = powers[static_cast<std::size_t>(k)];
            for (int l = 0; l <= k; ++l)
                normal(k, l) += phi * powers[static_cast<std::size_t>(l)];
            rhs(k) += phi * y[j];
        }
    }
    for (int k = 0; k < m; ++k)
        for (int l = k + 1; l < m; ++l) normal(k, l) = normal(l, k);
    Gauss<double>::Solve(normal, rhs);
    c_ = rhs;

    double residual = 0.0;
    for (int j = 0; j < n; ++j) {
        const double difference = y[j] - Eval(t[j]);
        residual += difference * difference;
    }
    return residual;
}

}  // namespace ZEMRA::Vibration
