#pragma once

#include "zemra/eigen/chains.h"
#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// A standard problem A·x = λ·x or a generalized problem A·x = λ·B·x of dense real matrices,
/// and its solution after Solve.
///
/// Order of the eigenvalues: the real ones first, by ascending |Re|, the members of a chain
/// right after their head; then the complex pairs by ascending imaginary part, each with the
/// positive one first. Equal keys keep the solver's order. Indices start at 0.
///
/// Storage of the vectors: column j of V (n × n) is the vector of a real eigenvalue j; of a
/// pair at j, j + 1, column j holds the real and column j + 1 the imaginary part of the vector
/// of E(j), and E(j + 1) has its conjugate.
///
/// Chains: Defective(i) = p ≠ i says that column i is a generalized eigenvector with
/// (A − λI)·v_i = v_p; only equal real eigenvalues of a standard problem form chains.
class EigenProblem {
  public:
    /// An empty standard problem.
    EigenProblem() = default;
    /// The standard problem of a copy of A.
    explicit EigenProblem(const Matrix2D<double>& A);
    /// The generalized problem of copies of A and B.
    EigenProblem(const Matrix2D<double>& A, const Matrix2D<double>& B);

    /// Solves the problem anew and returns the number of eigenvalues, the order of A. The
    /// standard problem goes through Eigen, the generalized one through Eigen2; which one, and
    /// the order, is printed first (type 1):
    /// "ZEMRA/Vibration Solver Using: QR eigen solver for %d values" or
    /// "ZEMRA/Vibration Solver Using: QZ eigen solver for %d values".
    ///
    /// Throws Error "ZEMRA::Vibration::EigenProblem::Solve(int nVal, bool noVectors): Row size
    /// not equal to column size." (on one line) before anything is printed, and the Error of a
    /// solver. After an Error no eigenvalue is held; another exception (lack of memory, one of
    /// a message handler) leaves the former solution as it was.
    int Solve(bool noVectors);

    /// The number of eigenvalues held; 0 before Solve.
    int Eigenvalues() const { return nComputed_; }
    /// The same when their vectors are held, else 0.
    int Eigenvectors() const { return hasVectors_ ? nComputed_ : 0; }
    /// Whether the last Solve computed vectors, be it none of none.
    bool HasVectors() const { return hasVectors_; }

    /// Eigenvalue indx, in the unit of A (rad/s for a model). Throws Error
    /// "ZEMRA::Vibration::EigenProblem::Eigenvalue(const int indx): Range error.".
    std::complex<double> Eigenvalue(int indx) const;

    /// Component i of the vector of eigenvalue which. Throws Error
    /// "Eigenvector(which, i): Eigenvectors are not available." or, for an index outside
    /// 0 … Eigenvalues() − 1, "Eigenvector(whcih, i): Range error.".
    std::complex<double> Eigenvector(int which, int i) const;

    /// The previous member of the chain that i belongs to; i for an ordinary vector, for a
    /// chain's head and without vectors. Throws Error "Defective: Range error.".
    int Defective(int i) const;
    /// True when vectors are held and any of them is a generalized one.
    bool Defective() const;

    /// The residual |λ·v − A·v| of eigenpair i, summed over its components and divided by the
    /// number of eigenvalues; B·v in place of v for a generalized problem, and the chain's
    /// previous vector added for a generalized vector. The flag has no effect.
    ///
    /// Throws Error "ZEMRA::Vibration::EigenProblem::checkEigenvector: Range error." or, next,
    /// "Eigenvector(which, i): Eigenvectors are not available.".
    double CheckEigenVector(int i, bool) const;

    /// The matrix of eigenvectors, stored as above; empty without vectors.
    const Matrix2D<double>& MatrixV() const { return V_; }

    /// V⁻¹, computed on first use and kept until the next Solve. Throws the Error of the
    /// inverse, or Error "ZEMRA::Vibration::EigenProblem::MatrixZinv(): Could not obtain
    /// inverse" (on one line) when its order is not V's.
    const Matrix2D<double>& MatrixZinv() const;

  private:
    int type_ = 0;  // 0 standard, 1 generalized
    int nComputed_ = 0;
    bool hasVectors_ = false;
    Matrix2D<double> A_;
    Matrix2D<double> B_;
    Matrix1D<int> D_;
    Matrix2D<double> V_;
    mutable Matrix2D<double> Zinv_;
    Matrix1D<std::complex<double>> E_;

    bool Holds(int i) const { return i >= 0 && i < nComputed_; }
    void RequireVectors() const;
    Matrix1D<std::complex<double>> ComplexVector(int which) const;
};

}  // namespace ZEMRA::Vibration
