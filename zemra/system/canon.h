#pragma once

#include <memory>

#include "zemra/eigen/eigen_problem.h"
#include "zemra/system/modal_residual.h"

namespace ZEMRA::Vibration {

/// A model ẋ = A·x + B·u, y = C·x + D·u in real modal coordinates, whole or projected on some
/// of its modes.
///
/// The coordinates of a pair σ ± jω with the vector v of σ + jω are the real and imaginary part
/// of q in x = Re(q·v): x = (Re v, −Im v)·(q1, q2).
class Canon {
  public:
    ///   A (n × n), B (n × m), C (p × n), D (p × m)
    ///   nModes, modes  the mode numbers to keep, ascending, counted from 0 in the order of the
    ///          eigenvalues, a pair being one; below 1, or null, keeps all. Numbers out of
    ///          range or out of order are never reached, and so are all that follow them;
    ///          when none is reached the result has no states.
    ///   eigen  a solved problem of A, with vectors
    ///
    /// With all modes B′ = V⁻¹·B and C′ = C·V, V's second column of each pair negated. With a
    /// selection B′ = (TᵀT)⁻¹Tᵀ·B and C′ = C·T, T being the basis of the selected modes: a
    /// projection, whose answers differ from the selected terms of the whole sum.
    ///
    /// Prints one Warning when the coordinates cannot be trusted: with all modes where
    /// ‖V‖₁·‖V⁻¹‖₁ > 1e12 (the vectors are nearly dependent), else where the vectors are far
    /// from satisfying A·v = λ·v.
    ///
    /// Throws, in this order, Error
    /// "The state matrix and eigen vector matrix are not of compatable sizes.\n   A: %d x %d\n
    /// B: %d x %d\n   C: %d x %d\n   D: %d x %d";
    /// "Eigenvector(which, i): Eigenvectors are not available.";
    /// the first text with T, B, C, Z in place of A to D when the order of eigen is not n; and,
    /// when the vectors are dependent,
    /// "Warning: The eigen vector transformation matrix is singular.\n         Modal space
    /// reduction not possible.\n ABCD matrix can be use as is.\n          Vibration results
    /// will be limited to response and transfer function. Check model for zero stiffness or
    /// other cause of degenerate modes.", before which a selection prints the Error of the
    /// inverse.
    Canon(const Matrix2D<double>& A, const Matrix2D<double>& B, const Matrix2D<double>& C,
          const Matrix2D<double>& D, int nModes, const int* modes, const EigenProblem& eigen);

    /// A′ (s × s): λ for a real mode, (σ, −ω; ω, σ) for a pair, and 1 where a chain member is
    /// coupled to its predecessor, in the predecessor's row and the member's column. A member
    /// kept without its predecessor is not coupled.
    const MatrixSparse2D<double>& A() const { return A_; }
    /// B′ (s × m).
    const Matrix2D<double>& B() const { return B_; }
    /// C′ (p × s).
    const Matrix2D<double>& C() const { return C_; }
    /// D (p × m), as given.
    const Matrix2D<double>& D() const { return D_; }
    /// What A·T = T·A′ is missing, T being the basis of the modes kept. A member of a chain
    /// that is kept without its predecessor is judged as if it were coupled.
    const std::shared_ptr<const ModalResidual>& Residual() const { return residual_; }

  private:
    MatrixSparse2D<double> A_;
    Matrix2D<double> B_;
    Matrix2D<double> C_;
    Matrix2D<double> D_;
    std::shared_ptr<const ModalResidual> residual_;

    void doCanon(const Matrix2D<double>& A, const Matrix2D<double>& B,
                 const Matrix2D<double>& C, const EigenProblem& eigen);
    void doModes(const Matrix2D<double>& A, const Matrix2D<double>& B,
                 const Matrix2D<double>& C, int nModes, const int* modes,
                 const EigenProblem& eigen);
};

}  // namespace ZEMRA::Vibration
