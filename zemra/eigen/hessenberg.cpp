#include "zemra/eigen/hessenberg.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "zemra/matrix/kernels.h"

namespace ZEMRA::Vibration {
namespace {

constexpr double kNegligiblePivot = 1e-18;

// Of the largest magnitudes in column m − 1 from row m on, the first.
int FindPivotRow(FlatMatrix<double> a, CoupledBlock block, int m) {
    const double* const column = a.Column(m - 1);
    int pivot = m;
    for (int i = m + 1; i <= block.igh; ++i)
        if (std::fabs(column[i]) > std::fabs(column[pivot])) pivot = i;
    return pivot;
}

void Exchange(FlatMatrix<double> a, CoupledBlock block, FlatMatrix<double> z, int i, int m) {
    for (int c = m - 1; c < a.Order(); ++c) std::swap(a(i, c), a(m, c));
    std::swap_ranges(a.Column(i), a.Column(i) + block.igh + 1, a.Column(m));
    if (z) std::swap_ranges(z.Column(i), z.Column(i) + z.Order(), z.Column(m));
}

// Clears column m − 1 below row m: for each row i, row i −= y_i·row m, then
// column m += y_i·column i.
//
// Both run down columns here, and every element still sees its terms in that order: column m
// takes from column i before the rows below i are reduced in it.
void Eliminate(FlatMatrix<double> a, CoupledBlock block, FlatMatrix<double> z, int m,
               double* y) {
    double* const cleared = a.Column(m - 1);
    const double pivot = cleared[m];
    for (int i = m + 1; i <= block.igh; ++i) {
        y[i] = cleared[i] != 0.0 ? cleared[i] / pivot : 0.0;
        cleared[i] = 0.0;
    }
    const auto reduceRows = [&](int column, int first, int last) {
        double* const entries = a.Column(column);
        SubtractScaled(last - first + 1, entries[m], y + first, entries + first);
    };
    double* const target = a.Column(m);
    for (int i = m + 1; i <= block.igh; ++i) {
        reduceRows(i, m + 1, i);
        if (y[i] != 0.0) {
            target[i] -= y[i] * target[m];
            AddScaled(block.igh + 1, y[i], a.Column(i), target);
            if (z) AddScaled(z.Order(), y[i], z.Column(i), z.Column(m));
        }
        reduceRows(i, i + 1, block.igh);
    }
    for (int c = block.igh + 1; c < a.Order(); ++c) reduceRows(c, m + 1, block.igh);
}

// The same by a kernel. The columns of Z from m + 1 on are still unit vectors, of the rows in
// order; so column m takes the multipliers as they are.
void EliminateFast(FlatMatrix<double> a, CoupledBlock block, FlatMatrix<double> z, int m,
                   double* y, const int* order, const EigenKernels& kernels) {
    double* const cleared = a.Column(m - 1);
    const double pivot = cleared[m];
    y[m] = 0.0;
    for (int i = m + 1; i <= block.igh; ++i) {
        y[i] = cleared[i] != 0.0 ? cleared[i] / pivot : 0.0;
        cleared[i] = 0.0;
        if (z) z(order[i], m) = y[i];
    }
    kernels.eliminate({a.Order(), a.LeadingDimension(), a.Column(0), m, block.igh, y,
                       y + a.LeadingDimension()});
}

}  // namespace

void ReduceToHessenberg(FlatMatrix<double> a, CoupledBlock block, FlatMatrix<double> z,
                        const EigenKernels* kernels) {
    const int n = a.Order();
    for (int c = 0; z && c < n; ++c) {
        std::fill_n(z.Column(c), n, 0.0);
        z(c, c) = 1.0;
    }
    std::vector<double> multipliers(3 * static_cast<std::size_t>(a.LeadingDimension()));
    std::vector<int> order(static_cast<std::size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    for (int m = block.low + 1; m < block.igh; ++m) {
        const int pivot = FindPivotRow(a, block, m);
        if (pivot != m) {
            Exchange(a, block, z, pivot, m);
            std::swap(order[static_cast<std::size_t>(pivot)],
                      order[static_cast<std::size_t>(m)]);
        }
        if (!(std::fabs(a(m, m - 1)) > kNegligiblePivot)) continue;
        if (kernels)
            EliminateFast(a, block, z, m, multipliers.data(), order.data(), *kernels);
        else
            Eliminate(a, block, z, m, multipliers.data());
    }
}

}  // namespace ZEMRA::Vibration
