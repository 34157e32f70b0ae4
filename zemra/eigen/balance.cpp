#include "zemra/eigen/balance.h"

#include <algorithm>
#include <cmath>

namespace ZEMRA::Vibration {
namespace {

constexpr double kRadix = 16.0;
constexpr double kWorthwhile = 0.95;  // the sums must shrink below this part of themselves

void Exchange(FlatMatrix<double> a, int i, int j) {
    if (i == j) return;
    std::swap_ranges(a.Column(i), a.Column(i) + a.Order(), a.Column(j));
    for (int c = 0; c < a.Order(); ++c) std::swap(a(i, c), a(j, c));
}

bool ColumnIsIsolated(FlatMatrix<double> a, CoupledBlock block, int j) {
    const double* const column = a.Column(j);
    for (int i = block.low; i <= block.igh; ++i)
        if (i != j && column[i] != 0.0) return false;
    return true;
}

bool RowIsIsolated(FlatMatrix<double> a, CoupledBlock block, int i) {
    for (int j = block.low; j <= block.igh; ++j)
        if (j != i && a(i, j) != 0.0) return false;
    return true;
}

CoupledBlock Permute(FlatMatrix<double> a, double* scale) {
    CoupledBlock block{0, a.Order() - 1};
    for (int j = 0; j < a.Order(); ++j) {
        if (!ColumnIsIsolated(a, block, j)) continue;
        if (scale) scale[block.low] = j;
        Exchange(a, j, block.low++);
    }
    for (int j = block.igh; j >= block.low; --j) {
        if (!RowIsIsolated(a, block, j)) continue;
        if (scale) scale[block.igh] = j;
        Exchange(a, j, block.igh--);
    }
    return block;
}

// The power of 16 by which column i is to be multiplied and row i divided; 1 when it would not
// help, or when the sums leave the range of finite numbers.
double ScaleFactor(FlatMatrix<double> a, CoupledBlock block, int i) {
    double c = 0.0, r = 0.0;
    for (int j = block.low; j <= block.igh; ++j) {
        if (j == i) continue;
        c += std::fabs(a(j, i));
        r += std::fabs(a(i, j));
    }
    if (c == 0.0 || r == 0.0 || !std::isfinite(c) || !std::isfinite(r)) return 1.0;

    const auto usable = [&c](double f) {
        return std::isfinite(c) && std::isfinite(f) && f > 0;
    };
    const double s = c + r;
    double f = 1.0;
    for (const double g = r / kRadix; c < g && usable(f);) {
        f *= kRadix;
        c *= kRadix * kRadix;
    }
    for (const double g = r * kRadix; c >= g && usable(f);) {
        f /= kRadix;
        c /= kRadix * kRadix;
    }
    return usable(f) && (c + r) / f < kWorthwhile * s ? f : 1.0;
}

void ScaleBlock(FlatMatrix<double> a, CoupledBlock block, double* scale) {
    if (scale) std::fill(scale + block.low, scale + std::max(block.low, block.igh + 1), 1.0);
    for (bool changed = true; changed;) {
        changed = false;
        for (int i = block.low; i <= block.igh; ++i) {
            const double f = ScaleFactor(a, block, i);
            if (f == 1.0) continue;
            changed = true;
            if (scale) scale[i] *= f;
            const double diagonal = a(i, i);  // unchanged, but could overflow on the way
            for (int j = block.low; j < a.Order(); ++j) a(i, j) /= f;
            for (int j = 0; j <= block.igh; ++j) a(j, i) *= f;
            a(i, i) = diagonal;
        }
    }
}

}  // namespace

CoupledBlock Balance(FlatMatrix<double> a, double* scale) {
    const CoupledBlock block = Permute(a, scale);
    ScaleBlock(a, block, scale);
    return block;
}

void BackBalance(CoupledBlock block, const double* scale, FlatMatrix<double> v) {
    // The first columns too: chains may have been combined into them.
    for (int c = 0; c < v.Order(); ++c)
        for (int i = block.low; i <= block.igh; ++i) v(i, c) *= scale[i];

    const auto undo = [&](int i) {
        const int j = static_cast<int>(scale[i]);
        if (j == i) return;
        for (int c = 0; c < v.Order(); ++c) std::swap(v(i, c), v(j, c));
    };
    for (int i = block.igh + 1; i < v.Order(); ++i) undo(i);
    for (int i = block.low - 1; i >= 0; --i) undo(i);
}

}  // namespace ZEMRA::Vibration
