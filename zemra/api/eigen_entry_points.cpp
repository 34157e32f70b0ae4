#include <algorithm>
#include <complex>
#include <exception>
#include <memory>
#include <string>

#include "zemra/api/core_values.h"
#include "zemra/api/guarded.h"
#include "zemra/api/model_dump.h"
#include "zemra/api/zmapi_c.h"
#include "zemra/api/zmapi_eigen_problem.h"
#include "zemra/eigen/balance.h"
#include "zemra/eigen/eigen_problem.h"

using ZEMRA::Vibration::EigenProblem;
using ZEMRA::Vibration::Error;
using ZEMRA::Vibration::FlatMatrix;
using ZEMRA::Vibration::Matrix2D;

namespace {

constexpr char kNoMatrix[] = "Eigen solution: No matrix was given.";
constexpr char kInterrupted[] = "Eigen solution: Interrupted: %s";

// The real part of the complex number x, or its imaginary part.
using Part = double (*)(const std::complex<double>&);
double Re(const std::complex<double>& x) { return x.real(); }
double Im(const std::complex<double>& x) { return x.imag(); }

Matrix2D<double> FromColumns(int n, const double* a) {
    if (!a) throw Error(kNoMatrix);
    const FlatMatrix<const double> columns(n, a);
    Matrix2D<double> m(n, n);
    for (int c = 0; c < n; ++c)
        for (int r = 0; r < n; ++r) m(r, c) = columns(r, c);
    return m;
}

// Column c of the n × n array out, when there is one, receives a part of the vector of
// eigenvalue which.
void WriteVector(const EigenProblem& problem, int which, Part part, double* out, int c) {
    if (!out) return;
    const int n = problem.Eigenvalues();
    double* const column = FlatMatrix<double>(n, out).Column(c);
    for (int k = 0; k < n; ++k) column[k] = part(problem.Eigenvector(which, k));
}

// Runs solve(), which returns the number of eigenvalues. No exception leaves: an Error and any
// other failure are printed, and what a message handler throws meanwhile is dropped.
template <typename Solution>
void Contain(int n, int* nfound, const Solution& solve) {
    int unwanted = 0;
    int& found = nfound ? *nfound : unwanted;
    found = 0;
    if (n < 1) return;
    try {
        try {
            Guarded(0, [&] {
                solve(found);
                return 0;
            });
        } catch (const std::exception& exception) {
            Error error(kInterrupted);
            error.Append(
                std::make_unique<ZEMRA::Vibration::DataParamT<std::string>>(exception.what()));
            error.Print();
        }
    } catch (...) {
        return;
    }
}

}  // namespace

void EigenSolution(int n, const double* a, double* wr, double* wi, double* z, int* nfound) {
    Contain(n, nfound, [&](int& found) {
        const Matrix2D<double> A = FromColumns(n, a);
        DumpSystemMatrix(ZmAPI_Matrix(A));
        EigenProblem problem(A);
        found = problem.Solve(/*noVectors=*/false);
        if (found != n) return;
        for (int i = 0; i < n; ++i) {
            const std::complex<double> lambda = problem.Eigenvalue(i);
            if (wr) wr[i] = ToCycles(lambda.real());
            const double cycles = ToCycles(lambda.imag());
            if (wi) wi[i] = cycles;
            if (cycles < 0) continue;  // written with its partner
            WriteVector(problem, i, Re, z, i);
            if (cycles > 0 && i + 1 < n) WriteVector(problem, i, Im, z, i + 1);
        }
    });
}

void GeneralEigenSolution(int n, const double* a, const double* b, double* er, double* ei,
                          double* vr, double* vi, int* nfound) {
    Contain(n, nfound, [&](int& found) {
        EigenProblem problem(FromColumns(n, a), FromColumns(n, b));
        found = problem.Solve(/*noVectors=*/false);
        if (found != n) return;
        for (int i = 0; i < n; ++i) {
            const std::complex<double> lambda = problem.Eigenvalue(i);
            if (er) FlatMatrix<double>(n, er)(i, i) = lambda.real();
            if (ei) FlatMatrix<double>(n, ei)(i, i) = lambda.imag();
            WriteVector(problem, i, Re, vr, i);
            WriteVector(problem, i, Im, vi, i);
        }
    });
}

bool VibMatrix_Balance(double* out, double* a, int n) {
    if (n < 1 || !a) return true;
    const FlatMatrix<double> balanced(n, a);
    Balance(balanced, nullptr);
    if (!out) return true;
    if (out != a) std::copy_n(a, ZEMRA::Vibration::Elements(n), out);
    Transpose(FlatMatrix<double>(n, out));
    return true;
}

void F77Eigen::Solution(int n, const double* a, double* wr, double* wi, double* z,
                        int* nfound) {
    EigenSolution(n, a, wr, wi, z, nfound);
}
