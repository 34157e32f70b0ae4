#include "zemra/eigen/hessenberg_qr.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "zemra/message/message.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kNotConverged[] = "Hessenberg QR: did not converge.";
constexpr int kIterationsPerEigenvalue = 30;
constexpr double kUnit = std::numeric_limits<double>::epsilon();

// The elementary reflector I − (x, y, z)ᵀ·(1, q, r); z and r are 0 for one of order 2.
struct Reflector {
    double x, y, z, q, r;
};

class Iteration {
  public:
    Iteration(FlatMatrix<double> h, CoupledBlock block, FlatMatrix<double> z,
              Matrix1D<Complex>& E, const EigenKernels* kernels)
        : h_(h),
          block_(block),
          z_(z),
          E_(E),
          kernels_(kernels),
          remaining_(kIterationsPerEigenvalue * h.Order()) {}

    void Run() {
        norm_ = Norm();
        StoreIsolatedEigenvalues();
        for (en_ = block_.igh; en_ >= block_.low;) {
            SeparateOneOrTwo();
            if (l_ == en_) {
                StoreOneRoot();
                en_ -= 1;
            } else {
                StoreTwoRoots();
                en_ -= 2;
            }
        }
    }

  private:
    FlatMatrix<double> h_;
    CoupledBlock block_;
    FlatMatrix<double> z_;
    Matrix1D<Complex>& E_;
    const EigenKernels* kernels_;
    double norm_ = 0.0;
    int remaining_;          // iterations left for all eigenvalues together
    bool tolerant_ = false;  // in the second helping of iterations
    int iteration_ = 0;      // on the present eigenvalue
    int l_ = 0, en_ = 0;     // the active window: rows and columns l … en
    double shift_ = 0.0;     // taken from the diagonal by exceptional shifts so far
    double x_ = 0.0, y_ = 0.0, w_ = 0.0;  // the shifts: corners, product of the off-diagonals

    double Norm() const {
        double sum = 0.0;
        for (int c = 0; c < h_.Order(); ++c)
            for (int r = 0; r <= std::min(c + 1, h_.Order() - 1); ++r)
                sum += std::fabs(h_(r, c));
        return sum;
    }

    void StoreIsolatedEigenvalues() {
        for (int i = 0; i < h_.Order(); ++i)
            if (i < block_.low || i > block_.igh) E_(i) = h_(i, i);
    }

    // Iterates until the last row of the window, or the last two, stand alone.
    void SeparateOneOrTwo() {
        iteration_ = 0;
        for (;;) {
            FindSmallSubdiagonal();
            x_ = h_(en_, en_);
            if (l_ == en_) return;
            y_ = h_(en_ - 1, en_ - 1);
            w_ = h_(en_, en_ - 1) * h_(en_ - 1, en_);
            if (l_ == en_ - 1) return;
            SpendIteration();
            ShiftExceptionally();
            ++iteration_;
            DoubleStep();
        }
    }

    void FindSmallSubdiagonal() {
        const std::ptrdiff_t up = h_.LeadingDimension() + 1;
        const double* diagonal = h_.Column(en_) + en_;
        int l = en_;
        for (; l > block_.low; --l, diagonal -= up) {
            double s = std::fabs(diagonal[-up]) + std::fabs(*diagonal);
            if (s == 0.0) s = norm_;
            const double subdiagonal = std::fabs(diagonal[-up + 1]);
            if (s + subdiagonal == s || (tolerant_ && subdiagonal <= kUnit * s)) break;
        }
        l_ = l;
    }

    void SpendIteration() {
        if (!std::isfinite(x_ + y_ + w_)) throw Error(kNotConverged);
        if (remaining_ == 0) {
            if (tolerant_) throw Error(kNotConverged);
            tolerant_ = true;
            remaining_ = kIterationsPerEigenvalue * h_.Order();
            iteration_ = 0;
        }
        --remaining_;
    }

    void ShiftExceptionally() {
        if (iteration_ == 10 || iteration_ == 20) {
            SubtractFromDiagonal(x_);
            const double s = std::fabs(h_(en_, en_ - 1)) + std::fabs(h_(en_ - 1, en_ - 2));
            x_ = y_ = 0.75 * s;
            w_ = -0.4375 * s * s;
        } else if (iteration_ == 30) {
            const double half = (y_ - x_) / 2.0;
            double s = half * half + w_;
            if (!(s > 0.0)) return;
            s = y_ < x_ ? -std::sqrt(s) : std::sqrt(s);
            SubtractFromDiagonal(x_ - w_ / (half + s));
            x_ = y_ = w_ = 0.964;
        }
    }

    void SubtractFromDiagonal(double s) {
        for (int i = block_.low; i <= en_; ++i) h_(i, i) -= s;
        shift_ += s;
    }

    // One Francis step with both shifts, from the first row where two consecutive small
    // subdiagonal elements allow to begin.
    void DoubleStep() {
        double p = 0.0, q = 0.0, r = 0.0;  // the first column of (H − s₁I)·(H − s₂I), scaled
        const std::ptrdiff_t down = h_.LeadingDimension() + 1;
        int m = en_ - 2;
        for (const double* diagonal = &h_(m, m);; --m, diagonal -= down) {
            const double zz = *diagonal;
            r = x_ - zz;
            double s = y_ - zz;
            const double first = r * s - w_;
            q = diagonal[down] - zz - r - s;
            if (kernels_ && m > l_ && IsClearlyCoupled(diagonal, first, q)) continue;
            p = first / h_(m + 1, m) + h_(m, m + 1);
            r = h_(m + 2, m + 1);
            s = std::fabs(p) + std::fabs(q) + std::fabs(r);
            p /= s;
            q /= s;
            r /= s;
            if (m == l_) break;
            const double neighbours =
                std::fabs(p) *
                (std::fabs(h_(m - 1, m - 1)) + std::fabs(zz) + std::fabs(h_(m + 1, m + 1)));
            const double fill = std::fabs(h_(m, m - 1)) * (std::fabs(q) + std::fabs(r));
            if (neighbours + fill == neighbours) break;
        }
        double* below = h_.Column(m) + m + 2;  // of the subdiagonal
        below[0] = 0.0;
        for (int i = m + 3; i <= en_; ++i) {
            below[1] = 0.0;
            below += h_.LeadingDimension() + 1;
            below[0] = 0.0;
        }
        if (kernels_)
            kernels_->chaseBulge({h_.Order(), h_.LeadingDimension(), h_.Column(0),
                                  z_ ? z_.Column(0) : nullptr, l_, m, en_, FirstRow(),
                                  LastColumn(), p, q, r});
        else
            ChaseBulge(m, p, q, r);
    }

    // Whether the test in DoubleStep certainly fails for the row of a diagonal element, told
    // without its divisions: both sides are multiplied by s and by h(m + 1, m), and p is taken
    // too large.
    bool IsClearlyCoupled(const double* diagonal, double first, double q) const {
        const std::ptrdiff_t down = h_.LeadingDimension() + 1;
        const double below = std::fabs(diagonal[1]);
        const double fill = std::fabs(diagonal[1 - down]) *
                            (std::fabs(q) + std::fabs(diagonal[down + 1])) * below;
        const double neighbours =
            (std::fabs(first) + std::fabs(diagonal[down - 1]) * below) *
            (std::fabs(diagonal[-down]) + std::fabs(*diagonal) + std::fabs(diagonal[down]));
        constexpr double kClearly = 1e-12, kLargest = std::numeric_limits<double>::max();
        return fill > kClearly * neighbours && fill <= kLargest;
    }

    void ChaseBulge(int m, double p, double q, double r) {
        for (int k = m; k < en_; ++k) {
            const bool isLast = k == en_ - 1;
            double scale = 1.0;
            if (k != m) {
                p = h_(k, k - 1);
                q = h_(k + 1, k - 1);
                r = isLast ? 0.0 : h_(k + 2, k - 1);
                scale = std::fabs(p) + std::fabs(q) + std::fabs(r);
                if (scale == 0.0) continue;
                p /= scale;
                q /= scale;
                r /= scale;
            }
            const double length = std::sqrt(p * p + q * q + r * r);
            const double s = p < 0.0 ? -length : length;
            if (k != m)
                h_(k, k - 1) = -s * scale;
            else if (l_ != m)
                h_(k, k - 1) = -h_(k, k - 1);
            p += s;
            const Reflector reflector{p / s, q / s, r / s, q / p, r / p};
            if (isLast)
                Reflect2(k, reflector);
            else
                Reflect3(k, reflector);
        }
    }

    // With vectors wanted the whole rows and columns are transformed, otherwise the window.
    int LastColumn() const { return z_ ? h_.Order() - 1 : en_; }
    int FirstRow() const { return z_ ? 0 : l_; }

    void Reflect2(int k, const Reflector& v) {
        for (int j = k; j <= LastColumn(); ++j) {
            double* const c = h_.Column(j) + k;
            const double p = c[0] + v.q * c[1];
            c[0] -= p * v.x;
            c[1] -= p * v.y;
        }
        const auto columns = [&v](int first, int last, double* __restrict a,
                                  double* __restrict b) {
            for (int i = first; i <= last; ++i) {
                const double p = v.x * a[i] + v.y * b[i];
                a[i] -= p;
                b[i] -= p * v.q;
            }
        };
        columns(FirstRow(), en_, h_.Column(k), h_.Column(k + 1));
        if (z_) columns(0, z_.Order() - 1, z_.Column(k), z_.Column(k + 1));
    }

    void Reflect3(int k, const Reflector& v) {
        for (int j = k; j <= LastColumn(); ++j) {
            double* const c = h_.Column(j) + k;
            const double p = c[0] + v.q * c[1] + v.r * c[2];
            c[0] -= p * v.x;
            c[1] -= p * v.y;
            c[2] -= p * v.z;
        }
        const auto columns = [&v](int first, int last, double* __restrict a,
                                  double* __restrict b, double* __restrict c) {
            for (int i = first; i <= last; ++i) {
                const double p = v.x * a[i] + v.y * b[i] + v.z * c[i];
                a[i] -= p;
                b[i] -= p * v.q;
                c[i] -= p * v.r;
            }
        };
        columns(FirstRow(), std::min(en_, k + 3), h_.Column(k), h_.Column(k + 1),
                h_.Column(k + 2));
        if (z_) columns(0, z_.Order() - 1, z_.Column(k), z_.Column(k + 1), z_.Column(k + 2));
    }

    void StoreOneRoot() {
        h_(en_, en_) = x_ + shift_;
        E_(en_) = h_(en_, en_);
    }

    void StoreTwoRoots() {
        const int na = en_ - 1;
        const double p = (y_ - x_) / 2.0;
        const double q = p * p + w_;
        const double z = std::sqrt(std::fabs(q));
        x_ += shift_;
        h_(en_, en_) = x_;
        h_(na, na) = y_ + shift_;
        if (q < 0.0) {
            E_(na) = {x_ + p, z};
            E_(en_) = {x_ + p, -z};
            return;
        }
        const double root = p < 0.0 ? p - z : p + z;
        E_(na) = x_ + root;
        E_(en_) = root != 0.0 ? x_ - w_ / root : x_ + root;
        if (z_) Triangularise(root);
    }

    // Rotates the last two rows and columns so that the 2 × 2 block with the real eigenvalue
    // x + root becomes triangular.
    void Triangularise(double root) {
        const int na = en_ - 1;
        const double x = h_(en_, na);
        const double s = std::fabs(x) + std::fabs(root);
        const double r = std::sqrt((x / s) * (x / s) + (root / s) * (root / s));
        const double p = x / s / r, q = root / s / r;
        for (int j = na; j < h_.Order(); ++j) {
            const double upper = h_(na, j);
            h_(na, j) = q * upper + p * h_(en_, j);
            h_(en_, j) = q * h_(en_, j) - p * upper;
        }
        const auto columns = [p, q](int last, double* __restrict a, double* __restrict b) {
            for (int i = 0; i <= last; ++i) {
                const double left = a[i];
                a[i] = q * left + p * b[i];
                b[i] = q * b[i] - p * left;
            }
        };
        columns(en_, h_.Column(na), h_.Column(en_));
        columns(z_.Order() - 1, z_.Column(na), z_.Column(en_));
    }
};

}  // namespace

void HessenbergQR(FlatMatrix<double> h, CoupledBlock block, FlatMatrix<double> z,
                  Matrix1D<Complex>& E, const EigenKernels* kernels) {
    Iteration(h, block, z, E, kernels).Run();
}

}  // namespace ZEMRA::Vibration
