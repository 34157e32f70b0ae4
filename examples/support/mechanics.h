#pragma once

#include <cstddef>
#include <stdexcept>
#include <vector>

#include "zemra/zmapi.h"

/// From the second-order form of mechanics, M·q̈ + C·q̇ + K·q = F·u, to the first-order form that
/// the library takes: ẋ = A·x + B·u, y = C·x + D·u with x = (q, q̇).

namespace Example {

/// A matrix of the host, row by row.
class Matrix {
  public:
    Matrix(std::size_t rows, std::size_t columns)
        : rows_(rows), columns_(columns), values_(rows * columns) {}

    double& operator()(std::size_t i, std::size_t j) { return values_[i * columns_ + j]; }
    double operator()(std::size_t i, std::size_t j) const { return values_[i * columns_ + j]; }
    std::size_t Rows() const { return rows_; }
    std::size_t Columns() const { return columns_; }
    ZmAPI_Matrix ForTheLibrary() const {
        return {values_.data(), static_cast<int>(rows_), static_cast<int>(columns_)};
    }

  private:
    std::size_t rows_, columns_;
    std::vector<double> values_;
};

inline Matrix Diagonal(const std::vector<double>& values) {
    Matrix result(values.size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i) result(i, i) = values[i];
    return result;
}

/// One value for each coordinate: the displacement of a point is its direction times q, and a
/// unit force on that point has the same direction.
using Direction = std::vector<double>;

inline Direction Difference(const Direction& a, const Direction& b) {
    Direction result(a);
    for (std::size_t i = 0; i < result.size(); ++i) result[i] -= b[i];
    return result;
}

/// A spring (or damper, or mass) of rate k whose elongation is e·q adds k·eᵀ·e.
inline void AddElement(Matrix& matrix, double k, const Direction& e) {
    for (std::size_t i = 0; i < e.size(); ++i)
        for (std::size_t j = 0; j < e.size(); ++j) matrix(i, j) += k * e[i] * e[j];
}

struct Dynamics {
    Matrix A, B;
};

struct Outputs {
    Matrix C, D;
};

/// M⁻¹·R by Gaussian elimination; a mass matrix is positive definite and needs no pivoting.
inline Matrix SolveMass(Matrix M, Matrix R) {
    const std::size_t n = M.Rows();
    for (std::size_t k = 0; k < n; ++k) {
        if (!(M(k, k) > 0.0))
            throw std::invalid_argument("the mass matrix is not positive definite");
        for (std::size_t i = k + 1; i < n; ++i) {
            const double f = M(i, k) / M(k, k);
            for (std::size_t j = k; j < n; ++j) M(i, j) -= f * M(k, j);
            for (std::size_t j = 0; j < R.Columns(); ++j) R(i, j) -= f * R(k, j);
        }
    }
    for (std::size_t k = n; k-- > 0;) {
        for (std::size_t j = 0; j < R.Columns(); ++j) {
            for (std::size_t i = k + 1; i < n; ++i) R(k, j) -= M(k, i) * R(i, j);
            R(k, j) /= M(k, k);
        }
    }
    return R;
}

/// A = [0 I; −M⁻¹·K −M⁻¹·C] and B = [0; M⁻¹·F], where column j of F is the direction of force
/// j. What a rotor's spin adds to C, the skew gyroscopic matrix, is welcome.
inline Dynamics FirstOrder(const Matrix& M, const Matrix& C, const Matrix& K,
                           const std::vector<Direction>& forces) {
    const std::size_t n = M.Rows(), m = forces.size();
    Matrix R(n, 2 * n + m);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
            R(i, j) = -K(i, j);
            R(i, n + j) = -C(i, j);
        }
        for (std::size_t j = 0; j < m; ++j) R(i, 2 * n + j) = forces[j][i];
    }
    R = SolveMass(M, R);

    Dynamics result{Matrix(2 * n, 2 * n), Matrix(2 * n, m)};
    for (std::size_t i = 0; i < n; ++i) {
        result.A(i, n + i) = 1.0;
        for (std::size_t j = 0; j < 2 * n; ++j) result.A(n + i, j) = R(i, j);
        for (std::size_t j = 0; j < m; ++j) result.B(n + i, j) = R(i, 2 * n + j);
    }
    return result;
}

inline Outputs NoOutputs(const Dynamics& dynamics, std::size_t count) {
    return {Matrix(count, dynamics.A.Columns()), Matrix(count, dynamics.B.Columns())};
}

/// Makes output i the displacement of the point.
inline void SetDisplacement(Outputs& outputs, std::size_t i, const Direction& point) {
    for (std::size_t k = 0; k < point.size(); ++k) outputs.C(i, k) = point[k];
}

/// Makes output i the acceleration of the point: the lower halves of A and B give q̈.
inline void SetAcceleration(Outputs& outputs, std::size_t i, const Dynamics& dynamics,
                            const Direction& point) {
    const std::size_t n = point.size();
    for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t j = 0; j < dynamics.A.Columns(); ++j)
            outputs.C(i, j) += point[k] * dynamics.A(n + k, j);
        for (std::size_t j = 0; j < dynamics.B.Columns(); ++j)
            outputs.D(i, j) += point[k] * dynamics.B(n + k, j);
    }
}

inline Outputs Displacements(const Dynamics& dynamics, const std::vector<Direction>& points) {
    Outputs result = NoOutputs(dynamics, points.size());
    for (std::size_t i = 0; i < points.size(); ++i) SetDisplacement(result, i, points[i]);
    return result;
}

inline Outputs Accelerations(const Dynamics& dynamics, const std::vector<Direction>& points) {
    Outputs result = NoOutputs(dynamics, points.size());
    for (std::size_t i = 0; i < points.size(); ++i)
        SetAcceleration(result, i, dynamics, points[i]);
    return result;
}

constexpr double kTimeOfLinearisation = 0.0;

template <typename Model>
Model Accepted(Model model) {
    if (model.Error()) throw std::runtime_error("the library refused the model");
    return model;
}

/// Both throw when the library refuses the model; its message says why.
inline ZmAPI_SystemSS StateSpaceModel(const Dynamics& dynamics, const Outputs& outputs,
                                      const std::vector<const ZmAPI_Actuator*>& actuators) {
    return Accepted(ZmAPI_SystemSS(kTimeOfLinearisation, dynamics.A.ForTheLibrary(),
                                   dynamics.B.ForTheLibrary(), outputs.C.ForTheLibrary(),
                                   outputs.D.ForTheLibrary(), actuators.data()));
}
inline ZmAPI_System ModalModel(const Dynamics& dynamics, const Outputs& outputs,
                               const std::vector<const ZmAPI_Actuator*>& actuators) {
    const int allModes = 0;
    return Accepted(ZmAPI_System(kTimeOfLinearisation, dynamics.A.ForTheLibrary(),
                                 dynamics.B.ForTheLibrary(), outputs.C.ForTheLibrary(),
                                 outputs.D.ForTheLibrary(), actuators.data(), allModes, nullptr,
                                 nullptr));
}

}  // namespace Example
