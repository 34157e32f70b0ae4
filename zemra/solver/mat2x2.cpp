#include "zemra/solver/mat2x2.h"

#include <array>

#include "zemra/matrix/kernels.h"
#include "zemra/solver/magnitude.h"

namespace ZEMRA::Vibration {
namespace {

constexpr double kZeroDeterminant = 1e-25;

template <typename T>
std::array<T, 2> Eliminate(const T& p1, const T& p2, const T& pb, const T& o1, const T& o2,
                           const T& ob) {
    const T s = Quotient(pb, p1);
    const T t = Quotient(p2, p1);
    const T e = o2 - t * o1;
    const T x2 = Quotient(ob - s * o1, e);
    return {s - x2 * t, x2};
}

template <typename T>
double ResidualSize(const T* a, const T* b, const std::array<T, 2>& x) {
    const T r1 = b[0] - a[0] * x[0] - a[2] * x[1];
    const T r2 = b[1] - a[1] * x[0] - a[3] * x[1];
    return Magnitude(r1 * r1 + r2 * r2);
}

}  // namespace

template <typename T>
bool mat2x2<T>::Solve(const T* a, T* x) {
    const T det = a[0] * a[3] - a[1] * a[2];
    if (!(Magnitude(det) > kZeroDeterminant)) return false;

    const std::array<T, 2> cramer{Quotient(x[0] * a[3] - x[1] * a[2], det),
                                  Quotient(x[1] * a[0] - a[1] * x[0], det)};
    const std::array<T, 2> gauss = Magnitude(a[0]) > Magnitude(a[1])
                                       ? Eliminate(a[0], a[2], x[0], a[1], a[3], x[1])
                                       : Eliminate(a[1], a[3], x[1], a[0], a[2], x[0]);

    const bool takeGauss = ResidualSize(a, x, cramer) > ResidualSize(a, x, gauss);
    const std::array<T, 2>& best = takeGauss ? gauss : cramer;
    x[0] = best[0];
    x[1] = best[1];
    return true;
}

template class mat2x2<double>;
template class mat2x2<Complex>;

}  // namespace ZEMRA::Vibration
