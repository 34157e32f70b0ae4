#pragma once

#include <memory>

#include "zemra/api/zmapi_matrix.h"

namespace ZEMRA {
namespace Vibration {
class EigenProblem;
}
}  // namespace ZEMRA

/// The host's handle on one eigen problem, A·x = λ·x or A·x = λ·B·x, and its solution after
/// Solve.
///
/// Eigenvalues are indexed from 0: the real ones first, by ascending |Re|, each chain of
/// generalized eigenvectors right after its head; then conjugate pairs by ascending imaginary
/// part, the positive one first.
///
/// A matrix that is not a dense real one is reported ("ZmAPI_EigenProblem: Non dense matrix")
/// and gives an empty handle. An index out of range is thrown as ZEMRA::Vibration::Error; any
/// other failure is printed and answered as stated for each query.
class ZM_API ZmAPI_EigenProblem : public ZmAPI {
  public:
    /// The matrices are copied.
    explicit ZmAPI_EigenProblem(const ZmAPI_Matrix& A);
    ZmAPI_EigenProblem(const ZmAPI_Matrix& A, const ZmAPI_Matrix& B);

    ZmAPI_EigenProblem(const ZmAPI_EigenProblem& other);
    ZmAPI_EigenProblem& operator=(const ZmAPI_EigenProblem& other);
    ~ZmAPI_EigenProblem() override;

    /// Solves and returns the number of eigenvalues, the order of A. Announces the method and
    /// the order as information. −1 for an empty handle; 0 when a matrix is not square, the
    /// orders differ, or the iteration cannot succeed, with the error printed:
    /// "ZEMRA::Vibration::EigenProblem::Solve(int nVal, bool noVectors): Row size not equal to
    /// column size." (on one line), "Hessenberg QR: did not converge." or, of a generalized
    /// problem, "QZ: The matrices hold elements that are not finite or too large.".
    int Solve(bool noVectors);

    /// The number of eigenvalues held, and of eigenvectors; 0 before Solve.
    int Eigenvalues() const;
    int Eigenvectors() const;

    /// The index of the previous member of the chain that i belongs to, (A − λI)·v_i = v_p; i
    /// itself for an ordinary eigenvector. −1 for an empty handle. Throws "Defective: Range
    /// error.".
    int Defective(int i) const;

    /// Eigenvalue i in rad/s (the unit of A), or in cycles per second. (0, 0) for an empty
    /// handle. Throws "ZEMRA::Vibration::EigenProblem::Eigenvalue(const int indx): Range
    /// error." (on one line).
    ZmAPI_Complex Eigenvalue(int i, bool cycles) const;

    /// Component i of the vector of eigenvalue which. (0, 0) for an empty handle, and after a
    /// solution without vectors with the error "Eigenvector(which, i): Eigenvectors are not
    /// available.". Throws "Eigenvector(whcih, i): Range error.".
    ZmAPI_Complex Eigenvector(int which, int i) const;

    /// Writes all Eigenvalues() components of one vector to out; nothing when no vectors are
    /// held or out is null. Throws as above, with nothing written.
    void Eigenvector(int which, ZmAPI_Complex* out) const;

    /// The residual |λ·v − A·v| of pair i (B·v for v in a generalized problem, the chain's
    /// previous vector added), summed over the components and divided by their number. The
    /// flag has no effect. −1 for an empty handle, and without vectors with the error above.
    /// Throws "ZEMRA::Vibration::EigenProblem::checkEigenvector: Range error.".
    double CheckEigenVector(int i, bool flag) const;

    /// The core problem, owned by this handle; null for an empty one.
    const ZEMRA::Vibration::EigenProblem* GetEigenProblem() const;

  private:
    std::unique_ptr<ZEMRA::Vibration::EigenProblem> problem_;
};

/// EigenSolution for callers that look for it under the name of its Fortran forerunner.
class ZM_API F77Eigen {
  public:
    static void Solution(int n, const double* a, double* wr, double* wi, double* z,
                         int* nfound);
};
