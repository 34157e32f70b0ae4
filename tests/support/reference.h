#pragma once

#include <gtest/gtest.h>

#include "tests/support/models.h"

namespace ZEMRA::Vibration::tests {

/// What a model answers at one frequency, from the definition by LU in extended precision, and
/// what elimination in double precision may be off by.
///
/// A column of an inverse by elimination is that of a matrix M + E, M = jwI − A, with
/// |E| ≤ 3n·u·|L|·|U| (Higham, Accuracy and Stability of Numerical Algorithms, ch. 9); other
/// pivots than those of the reference give factors of the same size. To first order, and with
/// the products' own n·u,
///   |δH| ≤ n·u·(3·|C·M⁻¹|·|L|·|U|·|M⁻¹|·|B| + 2·|C|·|M⁻¹|·|B|) + u·|D|.
/// Complex arithmetic about doubles the constants: take the spacing 2u in place of u.
struct Reference {
    Eigen::MatrixXcd H, X;           // C·(jwI − A)⁻¹·B + D and (jwI − A)⁻¹·B
    Eigen::MatrixXd boundH, boundX;  // of the errors, element by element

    Reference(const Model& model, double w);
};

/// Whether every element is as expected within its own bound.
testing::AssertionResult Within(const Eigen::MatrixXd& bound, const Eigen::MatrixXcd& expected,
                                const Eigen::MatrixXcd& actual);

}  // namespace ZEMRA::Vibration::tests
