#pragma once

#include "zemra/eigen/eigen_kernels.h"
#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

template <typename T>
class Eigen;

/// All eigenvalues, and on request all eigenvectors, of a dense real matrix of order n.
///
/// Balancing, reduction to Hessenberg form by elementary transformations, the double-shift QR
/// iteration, back-substitution in the Schur form, and inverse iteration for the vectors that
/// are poor. Missing vectors of repeated real eigenvalues are replaced by generalized ones.
///
/// Conjugate pairs are adjacent, positive imaginary part first. Column j of V is the vector of
/// a real eigenvalue j; of a pair at j, j + 1, column j holds the real and column j + 1 the
/// imaginary part of the vector of E(j), and E(j + 1) has its conjugate. The largest component
/// of a vector is 1, or the largest one of all members of a chain.
///
/// Nothing is shared between two objects, so that each may be made in a thread of its own.
template <>
class Eigen<double> {
  public:
    /// Of order 0.
    Eigen() = default;

    /// Solves for the square matrix A; the results come in the order in which the iteration
    /// finds them. Prints a Warning (type 2) when an eigenvalue is defective.
    ///
    /// Throws Error "Hessenberg QR: did not converge.". Cost: about 7·n³ multiplications for
    /// the eigenvalues, 18·n³ with vectors.
    ///
    /// Without kernels, plain loops do the same work in the same order.
    Eigen(const Matrix2D<double>& A, bool withVectors,
          const EigenKernels* kernels = &EigenKernelsOf(ChosenKernels()));

    Eigen(const Eigen&) = default;
    Eigen& operator=(const Eigen&) = default;
    virtual ~Eigen();

    int GetN() const { return n; }
    /// The vectors (n × n); empty when they were not wanted.
    const Matrix2D<double>& GetV() const { return V; }
    /// The eigenvalues (n), in the unit of A.
    const Matrix1D<Complex>& GetE() const { return E; }
    /// The links of chains (n): D(i) = i for an ordinary vector; D(i) = p ≠ i for a generalized
    /// one, (A − λI)·v_i = v_p.
    const Matrix1D<int>& GetD() const { return D; }

    /// Orders the real eigenvalues by ascending |Re|, each head of a chain followed by the
    /// chain's members, then the pairs by ascending imaginary part. Equal keys keep their
    /// order. Eigenvalues that belong nowhere, with a NaN for imaginary part, come last.
    void SortEigenValues();

  protected:
    int n = 0;
    bool wantVectors = false;
    Matrix1D<Complex> E;
    Matrix1D<int> D;
    Matrix2D<double> V;
};

}  // namespace ZEMRA::Vibration
