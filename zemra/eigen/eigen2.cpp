#include "zemra/eigen/eigen2.h"

#include <cassert>
#include <cmath>
#include <numeric>
#include <vector>

#include "zemra/eigen/qz.h"
#include "zemra/message/message.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kNotFinite[] =
    "QZ: The matrices hold elements that are not finite or too large.";

// A norm that overflows would count every element as negligible: any number would come out.
void RequireFinite(const std::vector<double>& elements) {
    double norm = 0;
    for (const double x : elements) norm += std::abs(x);
    if (!std::isfinite(norm)) throw Error(kNotFinite);
}

std::vector<double> ColumnMajor(const Matrix2D<double>& m) {
    const int n = m.Size(0);
    std::vector<double> columns;
    columns.reserve(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) columns.push_back(m(i, j));
    return columns;
}

}  // namespace

Eigen2<double>::Eigen2(const Matrix2D<double>& A, const Matrix2D<double>& B, bool) {
    assert(A.Size(1) == A.Size(0) && B.Size(0) == A.Size(0) && B.Size(1) == A.Size(0));
    n = A.Size(0);
    wantVectors = true;
    E = Matrix1D<Complex>(n);
    D = Matrix1D<int>(n);
    std::iota(D.Data(), D.Data() + n, 0);
    V = Matrix2D<double>(n, n);

    std::vector<double> a = ColumnMajor(A), b = ColumnMajor(B), z(a.size());
    RequireFinite(a);
    RequireFinite(b);
    const auto length = static_cast<std::size_t>(n);
    std::vector<double> alfr(length), alfi(length), beta(length);
    int ierr = 0;
    qzhes(n, n, a.data(), b.data(), z.data());
    qzit(n, n, a.data(), b.data(), 0.0, z.data(), ierr);
    qzval(n, n, a.data(), b.data(), alfr.data(), alfi.data(), beta.data(), z.data());
    if (ierr == 0)
        qzvec(n, n, a.data(), b.data(), alfr.data(), alfi.data(), beta.data(), z.data());

    for (std::size_t i = 0; i < length; ++i)
        E.Data()[i] = Complex(alfr[i] / beta[i], alfi[i] / beta[i]);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
            V(i, j) = z[static_cast<std::size_t>(j) * length + static_cast<std::size_t>(i)];
}

}  // namespace ZEMRA::Vibration
