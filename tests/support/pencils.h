#pragma once

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/eigen_zoo.h"
#include "tests/support/matrix_market.h"

extern "C" void dggev_(const char* left, const char* right, const int* n, double* a,
                       const int* lda, double* b, const int* ldb, double* alphar,
                       double* alphai, double* beta, double* vl, const int* ldvl, double* vr,
                       const int* ldvr, double* work, const int* lwork, int* info);

namespace ZEMRA::Vibration::tests {

struct Pencil {
    std::string name;
    ::Eigen::MatrixXd A, B;
};
inline void PrintTo(const Pencil& pencil, std::ostream* out) { *out << pencil.name; }

namespace zoo {

inline ::Eigen::MatrixXd RandomSquare(::Eigen::Index n, unsigned seed) {
    return ToEigen(RandomMatrix<double>(static_cast<int>(n), static_cast<int>(n), seed));
}

}  // namespace zoo

/// Regular, defective and singular ones, from 1 × 1 to 62 × 62, and the collected pairs.
inline std::vector<Pencil> PencilZoo() {
    std::vector<Pencil> all;
    const auto add = [&all](const std::string& name, const ::Eigen::MatrixXd& A,
                            const ::Eigen::MatrixXd& B) {
        all.push_back({name + std::to_string(A.rows()), A, B});
    };
    for (const ::Eigen::Index n : {1, 2, 3, 4, 5, 8, 13, 30, 60}) {
        const ::Eigen::MatrixXd I = ::Eigen::MatrixXd::Identity(n, n);
        const ::Eigen::MatrixXd R = zoo::RandomSquare(n, 1), S = zoo::RandomSquare(n, 2);
        add("Random", R, S);
        add("Standard", R, I);
        add("Mechanical", BetweenWalls(n), S * S.transpose() + 0.1 * I);
        if (n < 2) continue;
        ::Eigen::MatrixXd M = I;
        for (::Eigen::Index i = 0; i < n; i += 2) M(i, i) = 0;  // every other node without mass
        add("Massless", BetweenWalls(n), M);
        add("MasslessMixed", S * BetweenWalls(n), S * M);
        add("RankOne", R, S.col(0) * S.row(0));
        add("SingularA", M * S, R);
        add("DefectiveAtZero", zoo::Jordan(0, n), I);
        add("DefectiveAtInfinity", I, zoo::Jordan(0, n));
        add("Repeated", R * M, R);
        // Two constraints with their multipliers: pairs of defective infinite eigenvalues.
        if (n < 3) continue;
        ::Eigen::MatrixXd K = ::Eigen::MatrixXd::Zero(n + 2, n + 2),
                          E = ::Eigen::MatrixXd::Zero(n + 2, n + 2);
        K.topLeftCorner(n, n) = BetweenWalls(n);
        K.bottomLeftCorner(2, n) = S.topRows(2);
        K.topRightCorner(n, 2) = S.topRows(2).transpose();
        E.topLeftCorner(n, n) = I;
        add("Constrained", K, E);
    }
    if (const auto folder = DataFolder("matrices"); !folder.empty())
        for (const auto& [a, b] : {std::pair{"bcsstk01", "bcsstm01"},
                                   {"lund_a", "lund_b"},
                                   {"bfwa62", "bfwb62"},
                                   {"wingbeam_k", "wingbeam_m"}})
            add(a, ReadMatrixMarket(folder / (std::string(a) + ".mtx")),
                ReadMatrixMarket(folder / (std::string(b) + ".mtx")));
    return all;
}

/// λ as a ratio of two numbers, so that infinity is a value like any other.
struct Ratio {
    Complex alpha, beta;
    Ratio(const Complex& a, const Complex& b) : alpha(a), beta(b) {
        const double length = std::hypot(std::abs(a), std::abs(b));
        alpha /= length;
        beta /= length;
    }
};

/// The sine of the angle between two ratios.
inline double Distance(const Ratio& x, const Ratio& y) {
    return std::abs(x.alpha * y.beta - x.beta * y.alpha);
}

/// LAPACK's eigenvalues of the pencil with both matrices scaled to norm 1, and how far a
/// backward error of one rounding moves each: ε·‖x‖·‖y‖/|(yᴴAx, yᴴBx)| (Stewart & Sun, Matrix
/// Perturbation Theory, ch. VI).
struct PencilReference {
    std::vector<std::pair<double, Ratio>> values;  // the shift first

    explicit PencilReference(const Pencil& pencil) {
        const ::Eigen::MatrixXd A = pencil.A / pencil.A.norm(), B = pencil.B / pencil.B.norm();
        const int n = static_cast<int>(A.rows()), lwork = 16 * n + 64;
        ::Eigen::MatrixXd a = A, b = B, vl(n, n), vr(n, n);
        ::Eigen::VectorXd alphar(n), alphai(n), beta(n), work(lwork);
        int info = 0;
        dggev_("V", "V", &n, a.data(), &n, b.data(), &n, alphar.data(), alphai.data(),
               beta.data(), vl.data(), &n, vr.data(), &n, work.data(), &lwork, &info);
        if (info != 0) return;  // without values nothing will match
        for (::Eigen::Index i = 0; i < n; ++i) {
            const auto vector = [&](const ::Eigen::MatrixXd& v) -> ::Eigen::VectorXcd {
                const ::Eigen::Index first = alphai(i) < 0 ? i - 1 : i;
                const double sign = alphai(i) > 0 ? 1 : -1;
                if (alphai(i) == 0) return v.col(i);
                return v.col(first) + Complex(0, sign) * v.col(first + 1);
            };
            const ::Eigen::VectorXcd x = vector(vr), y = vector(vl);
            const double slope = std::hypot(std::abs(y.dot(A * x)), std::abs(y.dot(B * x)));
            values.emplace_back(
                std::numeric_limits<double>::epsilon() * x.norm() * y.norm() / slope,
                Ratio({alphar(i), alphai(i)}, beta(i)));
        }
        std::ranges::sort(values, {}, [](const auto& value) { return value.first; });
    }
};

}  // namespace ZEMRA::Vibration::tests
