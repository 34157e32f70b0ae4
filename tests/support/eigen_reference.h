#pragma once

#include <Eigen/Dense>
#include <algorithm>
#include <complex>
#include <limits>
#include <numeric>
#include <vector>

extern "C" void dgeevx_(const char* balance, const char* left, const char* right,
                        const char* sense, const int* n, double* a, const int* lda, double* wr,
                        double* wi, double* vl, const int* ldvl, double* vr, const int* ldvr,
                        int* ilo, int* ihi, double* scale, double* abnrm, double* rconde,
                        double* rcondv, double* work, const int* lwork, int* iwork, int* info);

namespace ZEMRA::Vibration::tests {

/// The eigenvalues of a matrix from LAPACK, and how far a backward error of one rounding of the
/// balanced matrix moves each of them: ε·‖A‖ / s, s the cosine of the angle between its left
/// and its right vector (Golub & Van Loan, Matrix Computations, section 7.2). For a defective
/// eigenvalue s is itself only rounding, and so is the shift about ε^(1/m).
struct ReferenceEigenvalues {
    ::Eigen::VectorXcd values;
    ::Eigen::VectorXd shifts;

    explicit ReferenceEigenvalues(::Eigen::MatrixXd A) {
        const int n = static_cast<int>(A.rows()), lwork = n * (n + 6) + 1;
        ::Eigen::MatrixXd vl(n, n), vr(n, n);
        ::Eigen::VectorXd wr(n), wi(n), scale(n), rconde(n), rcondv(n), work(lwork);
        std::vector<int> iwork(static_cast<std::size_t>(2 * n));
        int low = 0, high = 0, info = 0;
        double norm = 0.0;
        dgeevx_("B", "V", "V", "E", &n, A.data(), &n, wr.data(), wi.data(), vl.data(), &n,
                vr.data(), &n, &low, &high, scale.data(), &norm, rconde.data(), rcondv.data(),
                work.data(), &lwork, iwork.data(), &info);
        if (info != 0) return;  // without values nothing will match
        values = wr + std::complex<double>(0, 1) * wi;
        shifts = std::numeric_limits<double>::epsilon() * norm / rconde.array();
    }

    /// The largest distance of a value, in its shifts, from the one that it is matched with:
    /// each takes the nearest that is left, those with small shifts first. Infinite when the
    /// numbers of values differ.
    double DistanceOf(const ::Eigen::VectorXcd& found) const {
        if (found.size() != values.size()) return std::numeric_limits<double>::infinity();
        std::vector<std::complex<double>> left(found.begin(), found.end());
        std::vector<::Eigen::Index> order(left.size());
        std::iota(order.begin(), order.end(), 0);
        std::ranges::sort(order, {}, [this](::Eigen::Index i) { return shifts(i); });
        double largest = 0.0;
        for (const ::Eigen::Index i : order) {
            const auto distance = [&](const auto& x) { return std::abs(x - values(i)); };
            const auto nearest = std::ranges::min_element(left, {}, distance);
            if (*nearest != values(i))
                largest = std::max(largest, distance(*nearest) / shifts(i));
            left.erase(nearest);
        }
        return largest;
    }
};

}  // namespace ZEMRA::Vibration::tests
