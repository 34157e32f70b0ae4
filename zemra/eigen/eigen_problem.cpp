#include "zemra/eigen/eigen_problem.h"

#include <complex>
#include <memory>
#include <utility>

#include "zemra/eigen/eigen.h"
#include "zemra/eigen/eigen2.h"
#include "zemra/matrix/products.h"
#include "zemra/message/message.h"
#include "zemra/solver/matrix_inverse.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kSolveNotSquare[] =
    "ZEMRA::Vibration::EigenProblem::Solve(int nVal, bool noVectors): Row size not equal to "
    "column size.";
constexpr char kUsingQR[] = "ZEMRA/Vibration Solver Using: QR eigen solver for %d values";
constexpr char kUsingQZ[] = "ZEMRA/Vibration Solver Using: QZ eigen solver for %d values";
constexpr char kEigenvalueRange[] =
    "ZEMRA::Vibration::EigenProblem::Eigenvalue(const int indx): Range error.";
constexpr char kNoVectors[] = "Eigenvector(which, i): Eigenvectors are not available.";
constexpr char kEigenvectorRange[] = "Eigenvector(whcih, i): Range error.";
constexpr char kDefectiveRange[] = "Defective: Range error.";
constexpr char kCheckRange[] = "ZEMRA::Vibration::EigenProblem::checkEigenvector: Range error.";
constexpr char kNoInverse[] =
    "ZEMRA::Vibration::EigenProblem::MatrixZinv(): Could not obtain inverse";

void Announce(const char* solver, int order) {
    (Message(solver, Message::INFO) << order).Print();
}

// Announces the method and solves the problem of a square A; without B, B = I.
std::unique_ptr<Eigen<double>> Solved(const Matrix2D<double>& A, const Matrix2D<double>* B,
                                      bool vectors) {
    const int n = A.Size(0);
    if (!B) {
        Announce(kUsingQR, n);
        return std::make_unique<Eigen<double>>(A, vectors);
    }
    if (B->Size(0) != n || B->Size(1) != n) throw Error(kSolveNotSquare);
    Announce(kUsingQZ, n);
    return std::make_unique<Eigen2<double>>(A, *B, vectors);
}

// Σ|λ·B·v − A·v|, plus the previous vector of the chain when there is one; without B, B = I.
template <typename T>
double ResidualSum(const Matrix2D<double>& A, const Matrix2D<double>* B, const T& lambda,
                   const Matrix1D<T>& v, const Matrix1D<T>* previous) {
    const Matrix1D<T> a = A * v;
    const Matrix1D<T> b = B ? *B * v : v;
    double sum = 0;
    for (int k = 0; k < a.Size(0); ++k) {
        T r = lambda * b(k) - a(k);
        if (previous) r += (*previous)(k);
        sum += std::abs(r);
    }
    return sum;
}

}  // namespace

EigenProblem::EigenProblem(const Matrix2D<double>& A) : A_(A) {}

EigenProblem::EigenProblem(const Matrix2D<double>& A, const Matrix2D<double>& B)
    : type_(1), A_(A), B_(B) {}

int EigenProblem::Solve(bool noVectors) {
    const int n = A_.Size(0);
    if (n != A_.Size(1)) throw Error(kSolveNotSquare);
    try {
        const std::unique_ptr<Eigen<double>> solver =
            Solved(A_, type_ == 0 ? nullptr : &B_, !noVectors);
        solver->SortEigenValues();
        // Nothing of the former solution is touched before all of the new one is here.
        Matrix1D<std::complex<double>> E = solver->GetE();
        Matrix1D<int> D = solver->GetD();
        Matrix2D<double> V = noVectors ? Matrix2D<double>() : solver->GetV();
        E_ = std::move(E);
        D_ = std::move(D);
        V_ = std::move(V);
        Zinv_ = Matrix2D<double>();
        hasVectors_ = !noVectors;
        nComputed_ = solver->GetN();
    } catch (const Error&) {
        nComputed_ = 0;
        hasVectors_ = false;
        V_ = Zinv_ = Matrix2D<double>();
        throw;
    }
    return nComputed_;
}

void EigenProblem::RequireVectors() const {
    if (!hasVectors_) throw Error(kNoVectors);
}

std::complex<double> EigenProblem::Eigenvalue(int indx) const {
    if (!Holds(indx)) throw Error(kEigenvalueRange);
    return E_(indx);
}

std::complex<double> EigenProblem::Eigenvector(int which, int i) const {
    RequireVectors();
    if (!Holds(which) || !Holds(i)) throw Error(kEigenvectorRange);
    // Not-a-number counts as real, and so does a value whose partner is missing.
    const double im = E_(which).imag();
    if (im > 0 && which + 1 < nComputed_) return {V_(i, which), V_(i, which + 1)};
    if (im < 0 && which > 0) return {V_(i, which - 1), -V_(i, which)};
    return {V_(i, which), 0.0};
}

int EigenProblem::Defective(int i) const {
    if (!Holds(i)) throw Error(kDefectiveRange);
    return hasVectors_ ? D_(i) : i;
}

bool EigenProblem::Defective() const {
    for (int i = 0; i < Eigenvectors(); ++i)
        if (D_(i) != i) return true;
    return false;
}

double EigenProblem::CheckEigenVector(int i, bool) const {
    if (!Holds(i)) throw Error(kCheckRange);
    RequireVectors();
    const std::complex<double> lambda = E_(i);
    const int previous = D_(i);
    const Matrix2D<double>* const B = type_ == 0 ? nullptr : &B_;
    const auto residual = [&](const auto& value, const auto& v, const auto& before) {
        return ResidualSum(A_, B, value, v, previous == i ? nullptr : &before) / E_.Size(0);
    };
    if (lambda.imag() > 0 || lambda.imag() < 0)
        return residual(lambda, ComplexVector(i), ComplexVector(previous));
    return residual(lambda.real(), V_.Column(i), V_.Column(previous));
}

Matrix1D<std::complex<double>> EigenProblem::ComplexVector(int which) const {
    Matrix1D<std::complex<double>> v(nComputed_);
    for (int k = 0; k < nComputed_; ++k) v(k) = Eigenvector(which, k);
    return v;
}

const Matrix2D<double>& EigenProblem::MatrixZinv() const {
    if (Zinv_.Size(0) == 0) {
        Matrix2D<double> inverse = MatrixInverse2D<double>::Inverse(V_);
        if (inverse.Size(0) != V_.Size(0)) throw Error(kNoInverse);
        Zinv_ = std::move(inverse);
    }
    return Zinv_;
}

}  // namespace ZEMRA::Vibration
