#include "zemra/system/compliance.h"

#include <vector>

#include "zemra/eigen/eigen_problem.h"
#include "zemra/matrix/products.h"
#include "zemra/message/message.h"
#include "zemra/solver/matrix_inverse.h"
#include "zemra/system/canon.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kZeroColumns[] =
    "ZEMRA/Vibration compliance matrix:\n   The A matrix and C matrix have %d zero columns.\n  "
    " These states are not coupled to other states or outputs and have been removed.";

constexpr char kRigidBodies[] =
    "ZEMRA/Vibration compliance matrix:\n   The A matrix is singular, it produced %d rigid "
    "body modes. \n   The rigid body modes will be removed for the compliance matrix "
    "calculation.\n   Rigid body modes uasualy indicate that the model is not properly "
    "constrained.";

// An eigenvalue of at most this modulus belongs to a rigid body.
constexpr double kRigidBody = 1e-8;

bool ZeroColumn(const Matrix2D<double>& a, int j) {
    for (int i = 0; i < a.Size(0); ++i)
        if (a(i, j) != 0.0) return false;
    return true;
}

// D − C·A⁻¹·B of a dense or sparse A.
template <typename StateMatrix>
Matrix2D<double> Compliance(const StateMatrix& A, const Matrix2D<double>& B,
                            const Matrix2D<double>& C, const Matrix2D<double>& D) {
    return D - C * MatrixInverse2D<double>::Inverse(A) * B;
}

// The numbers of the modes that are no rigid bodies, and how many eigenvalues the others have.
struct ElasticModes {
    std::vector<int> numbers;
    int rigidBodies = 0;
};

ElasticModes FindElasticModes(const EigenProblem& eigen) {
    ElasticModes modes;
    int mode = 0;
    for (int i = 0, states = 0; i < eigen.Eigenvalues(); i += states, ++mode) {
        const Complex lambda = eigen.Eigenvalue(i);
        states = lambda.imag() == 0.0 ? 1 : 2;
        if (std::abs(lambda) > kRigidBody)
            modes.numbers.push_back(mode);
        else
            modes.rigidBodies += states;
    }
    return modes;
}

Matrix2D<double> ElasticCompliance(const Matrix2D<double>& A, const Matrix2D<double>& B,
                                   const Matrix2D<double>& C, const Matrix2D<double>& D) {
    EigenProblem eigen(A);
    eigen.Solve(/*noVectors=*/false);
    const ElasticModes modes = FindElasticModes(eigen);
    if (modes.rigidBodies > 0) (Warning(kRigidBodies) << modes.rigidBodies).Print();
    if (modes.numbers.empty()) return D;

    const Canon elastic(A, B, C, D, static_cast<int>(modes.numbers.size()),
                        modes.numbers.data(), eigen);
    return Compliance(elastic.A(), elastic.B(), elastic.C(), elastic.D());
}

}  // namespace

void FilterZeros(Matrix2D<double>& A, Matrix2D<double>& B, Matrix2D<double>& C) {
    int removed = 0;
    for (int k = A.Size(1) - 1; k >= 0; --k) {
        if (!ZeroColumn(A, k) || !ZeroColumn(C, k)) continue;
        A.DeleteRow(k);
        A.DeleteColumn(k);
        B.DeleteRow(k);
        C.DeleteColumn(k);
        ++removed;
    }
    if (removed > 0) (Warning(kZeroColumns) << removed).Print();
}

Matrix2D<double> ComplianceMatrix(Matrix2D<double> A, Matrix2D<double> B, Matrix2D<double> C,
                                  const Matrix2D<double>& D) {
    FilterZeros(A, B, C);
    try {
        return Compliance(A, B, C, D);
    } catch (const Error&) {
        return ElasticCompliance(A, B, C, D);
    }
}

}  // namespace ZEMRA::Vibration
