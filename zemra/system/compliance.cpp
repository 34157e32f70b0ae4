#include "zemra/system/compliance.h"

#include <algorithm>
#include <cmath>
#include <limits>
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

constexpr char kNearlySingular[] =
    "ZEMRA/Vibration compliance matrix:\n   The A matrix is nearly singular, the compliance "
    "may be wrong in every digit.\n   This usually indicates that the model is not properly "
    "constrained.";

// An eigenvalue of at most this modulus belongs to a rigid body.
constexpr double kRigidBody = 1e-8;

// Rounding parts the double zero of a free body by about √ε of the largest modulus, so that a
// kept eigenvalue of a singular matrix may be a hidden zero below this share of it.
constexpr double kHiddenZero = 1e-7;

bool ZeroColumn(const Matrix2D<double>& a, int j) {
    for (int i = 0; i < a.Size(0); ++i)
        if (a(i, j) != 0.0) return false;
    return true;
}

Matrix2D<double> Absolute(Matrix2D<double> m) {
    for (int i = 0; i < m.Size(0); ++i)
        for (int j = 0; j < m.Size(1); ++j) m(i, j) = std::fabs(m(i, j));
    return m;
}

// Whether rounding of A counts too often in an element of C·X, X = A⁻¹·B: it changes that by
// C·A⁻¹·δA·X. A rigid body that inputs and outputs do not reach does no harm.
bool ReachesOutputs(const Matrix2D<double>& A, const Matrix2D<double>& C,
                    const Matrix2D<double>& CbyA, const Matrix2D<double>& X) {
    const Matrix2D<double> states = Absolute(X), terms = Absolute(C) * states;
    const Matrix2D<double> change = Absolute(CbyA) * (Absolute(A) * states);
    for (int i = 0; i < change.Size(0); ++i)
        for (int j = 0; j < change.Size(1); ++j)
            if (change(i, j) > kTooMuchCancellation * terms(i, j)) return true;
    return false;
}

// D − C·A⁻¹·B. Rounding may leave the pivots of a rigid body small instead of zero.
Matrix2D<double> Compliance(const Matrix2D<double>& A, const Matrix2D<double>& B,
                            const Matrix2D<double>& C, const Matrix2D<double>& D) {
    const Matrix2D<double> inverse = MatrixInverse2D<double>::Inverse(A), CbyA = C * inverse;
    if (Cancellation(A, inverse) > kTooMuchCancellation &&
        ReachesOutputs(A, C, CbyA, inverse * B))
        Warning(kNearlySingular).Print();
    return D - CbyA * B;
}

// The numbers of the modes that are no rigid bodies, the moduli of the slowest and the fastest
// of them, and how many eigenvalues the others have.
struct ElasticModes {
    std::vector<int> numbers;
    double slowest = std::numeric_limits<double>::infinity();
    double fastest = 0.0;
    int rigidBodies = 0;

    // The matrix is singular, so a zero must be among the eigenvalues that were left out.
    bool HideARigidBody() const { return rigidBodies == 0 || slowest <= kHiddenZero * fastest; }
};

ElasticModes FindElasticModes(const EigenProblem& eigen) {
    ElasticModes modes;
    int mode = 0;
    for (int i = 0, states = 0; i < eigen.Eigenvalues(); i += states, ++mode) {
        const Complex lambda = eigen.Eigenvalue(i);
        states = lambda.imag() == 0.0 ? 1 : 2;
        const double modulus = std::abs(lambda);
        if (modulus > kRigidBody) {
            modes.numbers.push_back(mode);
            modes.slowest = std::min(modes.slowest, modulus);
            modes.fastest = std::max(modes.fastest, modulus);
        } else {
            modes.rigidBodies += states;
        }
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
    if (modes.HideARigidBody()) Warning(kNearlySingular).Print();

    const Canon elastic(A, B, C, D, static_cast<int>(modes.numbers.size()),
                        modes.numbers.data(), eigen);
    return Compliance(Matrix2D<double>(elastic.A()), elastic.B(), elastic.C(), elastic.D());
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
