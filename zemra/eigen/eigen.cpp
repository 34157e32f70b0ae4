#include "zemra/eigen/eigen.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numeric>
#include <utility>
#include <vector>

#include "zemra/eigen/chains.h"
#include "zemra/eigen/hessenberg.h"
#include "zemra/eigen/hessenberg_qr.h"
#include "zemra/eigen/refinement.h"
#include "zemra/eigen/schur_vectors.h"

namespace ZEMRA::Vibration {
namespace {

// The order that SortEigenValues gives: element k of it is the old index of the k-th
// eigenvalue.
class SortedOrder {
  public:
    SortedOrder(const Matrix1D<Complex>& E, const Matrix1D<int>& D, bool keepChains)
        : E_(E), isPlaced_(static_cast<std::size_t>(E.Size(0))) {
        order_.reserve(isPlaced_.size());
        for (int i; (i = Smallest(true)) >= 0;) {
            Place(i);
            if (!keepChains) continue;
            const std::vector<int> members = ChainMembers(i, D);
            for (std::size_t m = 1; m < members.size(); ++m) Place(members[m]);
        }
        for (int i; (i = Smallest(false)) >= 0;) {
            Place(i);
            if (i + 1 < E.Size(0)) Place(i + 1);
        }
        for (int i = 0; i < E.Size(0); ++i) Place(i);
    }

    const std::vector<int>& Order() const { return order_; }

  private:
    const Matrix1D<Complex>& E_;
    std::vector<char> isPlaced_;
    std::vector<int> order_;

    // The first of the real eigenvalues of smallest |Re|, or of the pairs of smallest imaginary
    // part, among those not yet placed; −1 when there are none.
    int Smallest(bool real) const {
        int best = -1;
        double smallest = 0.0;
        for (int i = 0; i < E_.Size(0); ++i) {
            const double im = E_(i).imag();
            if (isPlaced_[static_cast<std::size_t>(i)] || !(real ? im == 0.0 : im > 0.0))
                continue;
            const double key = real ? std::fabs(E_(i).real()) : im;
            if (best >= 0 && !(key < smallest)) continue;
            best = i;
            smallest = key;
        }
        return best;
    }

    void Place(int i) {
        if (std::exchange(isPlaced_[static_cast<std::size_t>(i)], 1)) return;
        order_.push_back(i);
    }
};

}  // namespace

Eigen<double>::~Eigen() = default;

Eigen<double>::Eigen(const Matrix2D<double>& A, bool withVectors, const EigenKernels* kernels)
    : n(A.Size(0)), wantVectors(withVectors), E(n), D(n) {
    assert(A.Size(0) == A.Size(1));
    std::iota(D.Data(), D.Data() + n, 0);
    const PaddedMatrices work(n, wantVectors ? 4 : 1);
    const FlatMatrix<double> w = work(0);
    for (int r = 0; r < n; ++r) {
        const double* const row = A.Row(r).Data();
        for (int c = 0; c < n; ++c) w(r, c) = row[c];
    }

    if (!wantVectors) {
        const CoupledBlock block = Balance(w, nullptr);
        ReduceToHessenberg(w, block, {}, kernels);
        HessenbergQR(w, block, {}, E, kernels);
        return;
    }

    std::vector<double> scale(static_cast<std::size_t>(n));
    const FlatMatrix<double> z = work(1), y = work(2);
    const CoupledBlock block = Balance(w, scale.data());
    ReduceToHessenberg(w, block, z, kernels);
    HessenbergQR(w, block, z, E, kernels);
    FindSchurVectors(w, block, E, D, y, kernels);
    const FlatMatrix<double> v = w;  // T is no longer needed
    BackTransform(z, y, v, kernels);
    BackBalance(block, scale.data(), v);
    NormaliseVectors(E, D, v);
    RefineVectors(A, D, E, v, {z, y, work(3)}, kernels);
    V = Matrix2D<double>(n, n);
    for (int r = 0; r < n; ++r) {
        double* const row = V.Row(r).Data();
        for (int c = 0; c < n; ++c) row[c] = v(r, c);
    }
}

void Eigen<double>::SortEigenValues() {
    const SortedOrder sorted(E, D, wantVectors);
    std::vector<int> place(static_cast<std::size_t>(n));  // the new index of each old one
    for (int k = 0; const int old : sorted.Order()) place[static_cast<std::size_t>(old)] = k++;

    const Matrix1D<Complex> oldE = E;
    const Matrix1D<int> oldD = D;
    for (int k = 0; const int old : sorted.Order()) {
        E(k) = oldE(old);
        D(k) = place[static_cast<std::size_t>(oldD(old))];
        ++k;
    }
    std::vector<double> given(static_cast<std::size_t>(n));
    for (int i = 0; i < V.Size(0); ++i) {
        double* const row = V.Row(i).Data();
        std::copy_n(row, n, given.data());
        for (int k = 0; k < n; ++k)
            row[place[static_cast<std::size_t>(k)]] = given[static_cast<std::size_t>(k)];
    }
}

}  // namespace ZEMRA::Vibration
