#pragma once

#include "zemra/eigen/eigen.h"

namespace ZEMRA::Vibration {

/// The generalized problem A·x = λ·B·x of dense matrices.
template <typename T>
class Eigen2;

/// Real A and B, by the QZ algorithm: qzhes, qzit, qzval and qzvec. Eigenvalues, pairs and
/// vectors are stored as in Eigen<double>; a vector's largest component has the modulus 1.
template <>
class Eigen2<double> : public Eigen<double> {
  public:
    /// An empty solver.
    Eigen2() = default;

    /// Solves at once, unsorted. The vectors are computed whatever the flag says.
    ///
    ///   A, B  n × n, both of the same order
    ///
    /// An eigenvalue is the plain quotient (alfr + i·alfi)/beta: a singular B gives an infinite
    /// real part beside the imaginary part 0/0, not-a-number, which puts it last when sorted;
    /// both are not-a-number where A is singular along with B. No defective chain is formed.
    /// Should the iteration not converge, the values are those of the partly reduced
    /// pencil and V holds the transformation reached, not the vectors.
    ///
    /// Throws Error "QZ: The matrices hold elements that are not finite or too large." when the
    /// sum of the magnitudes of either matrix is not finite.
    Eigen2(const Matrix2D<double>& A, const Matrix2D<double>& B, bool wantVectors);
};

}  // namespace ZEMRA::Vibration
