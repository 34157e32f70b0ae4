#pragma once

#include <Eigen/Dense>
#include <cmath>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration::tests {

/// Rows of elements: compared exactly and printed whole by GoogleTest.
template <typename T>
using Table = std::vector<std::vector<T>>;

template <typename T>
std::vector<T> Elements(const Matrix1D<T>& v) {
    return std::vector<T>(v.Data(), v.Data() + v.Size(0));
}

template <typename T>
Table<T> Rows(const Matrix2D<T>& m) {
    Table<T> rows;
    for (int i = 0; i < m.Size(0); ++i) rows.push_back(Elements(m.Row(i)));
    return rows;
}

/// Element (i, j) is element(i, j).
template <typename T, typename F>
Matrix2D<T> Generate(int nrows, int ncols, const F& element) {
    Matrix2D<T> m(nrows, ncols);
    for (int i = 0; i < nrows; ++i)
        for (int j = 0; j < ncols; ++j) m(i, j) = element(i, j);
    return m;
}

template <typename T>
Matrix2D<T> FromRows(const Table<T>& rows) {
    Matrix2D<T> m(static_cast<int>(rows.size()), static_cast<int>(rows.at(0).size()));
    for (int i = 0; const auto& row : rows) m.Row(i++) = Matrix1D<T>(m.Size(1), row.data());
    return m;
}

template <typename T>
auto ToEigen(const Matrix2D<T>& m) {
    using Dense = ::Eigen::Matrix<T, ::Eigen::Dynamic, ::Eigen::Dynamic>;
    return Dense(Dense::NullaryExpr(m.Size(0), m.Size(1), m));
}

/// Real and imaginary parts uniform in [−1, 1); the same on every platform.
template <typename T>
Matrix2D<T> RandomMatrix(int nrows, int ncols, unsigned seed) {
    std::mt19937 generator(seed);
    const auto uniform = [&] { return static_cast<int>(generator() >> 1) / 0x1p30 - 1.0; };
    return Generate<T>(nrows, ncols, [&](int, int) {
        T value(uniform());
        if constexpr (std::is_same_v<T, Complex>) value.imag(uniform());
        return value;
    });
}

/// The stiffness of a chain of masses on the springs k, the first to the ground, each other one
/// to the mass before.
inline ::Eigen::MatrixXd Links(const ::Eigen::VectorXd& k) {
    ::Eigen::MatrixXd K = k.asDiagonal();
    for (::Eigen::Index i = 1; i < k.size(); ++i) {
        K(i - 1, i - 1) += k(i);
        K(i - 1, i) = K(i, i - 1) = -k(i);
    }
    return K;
}
/// Of n masses between n + 1 unit springs, both ends fixed.
inline ::Eigen::MatrixXd BetweenWalls(::Eigen::Index n) {
    return Links(::Eigen::VectorXd::Ones(n + 1)).topLeftCorner(n, n);
}

/// (0, I; −K, −R), unit masses in first-order form. States: displacements, then velocities.
inline ::Eigen::MatrixXd FirstOrder(const ::Eigen::MatrixXd& K, const ::Eigen::MatrixXd& R) {
    const ::Eigen::Index n = K.rows();
    ::Eigen::MatrixXd A(2 * n, 2 * n);
    A << ::Eigen::MatrixXd::Zero(n, n), ::Eigen::MatrixXd::Identity(n, n), -K, -R;
    return A;
}
/// n unit masses between walls, with R = damping·K.
inline Matrix2D<double> SpringChain(int n, double damping) {
    const ::Eigen::MatrixXd K = BetweenWalls(n);
    return Generate<double>(2 * n, 2 * n, FirstOrder(K, damping * K));
}

/// Regular matrices of the shapes that the models and the solvers meet, by name.
template <typename T>
std::vector<std::pair<std::string, Matrix2D<T>>> RegularMatrices() {
    const auto random = [](int n, auto factor) {
        const Matrix2D<T> dense = RandomMatrix<T>(n, n, static_cast<unsigned>(n));
        return Generate<T>(n, n, [&](int i, int j) { return T(factor(i, j)) * dense(i, j); });
    };
    const auto band = [](int i, int j) { return std::abs(i - j) <= 1; };
    const auto holes = [](int i, int j) { return j == (i + 1) % 12 || (i + 3 * j) % 5 == 0; };
    const auto graded = [](int i, int) { return std::pow(10.0, 2 * i - 8); };
    return {{"OneByOne", RandomMatrix<T>(1, 1, 1)},
            {"Dense", RandomMatrix<T>(30, 30, 1)},
            {"Banded", random(20, band)},
            {"ZeroRich", random(12, holes)},
            {"GradedRows", random(8, graded)},
            {"Chain", Generate<T>(20, 20, SpringChain(10, 0.05))}};
}

}  // namespace ZEMRA::Vibration::tests
