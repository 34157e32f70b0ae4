#pragma once

#include <Eigen/Dense>
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>

namespace ZEMRA::Vibration::tests {

/// The QZ algorithm as it is written down (Moler & Stewart, SIAM J. Numer. Anal. 10 (1973)
/// 241–256; EISPACK): every reflection is applied, to all it reaches, as soon as it is made.
/// What reads the eigenvalues off is left out, since the library does it so itself.
struct PlainQZ {
    using Index = ::Eigen::Index;
    using Matrix = ::Eigen::MatrixXd;

    Matrix a, b, z;

    PlainQZ(const Matrix& A, const Matrix& B)
        : a(A), b(B), z(Matrix::Identity(A.rows(), A.rows())) {}

    /// To Hessenberg and triangular form.
    void Reduce() {
        for (Index l = 0; l + 1 < n_; ++l) TriangularizeColumn(l);
        for (Index k = 0; k + 2 < n_; ++k)
            for (Index l = n_ - 2; l > k; --l) {
                const Reflection<2> rows({a(l, k), a(l + 1, k)});
                if (rows.isNone) continue;
                rows.ToRows(a, l, k, n_ - 1);
                a(l + 1, k) = 0;
                rows.ToRows(b, l, l, n_ - 1);
                ClearRowOfB<2>(l, n_ - 1);
            }
    }

    /// To quasi-triangular form. 0, or the row, counted from 1, of the eigenvalue sought when
    /// the budget ran out.
    Index Iterate(double eps1) {
        const double ep = eps1 > 0 ? eps1 : std::numeric_limits<double>::epsilon();
        epsa_ = ep * HessenbergNorm(a);
        epsb_ = ep * HessenbergNorm(b);
        Index left = 30 * n_, unsolved = 0;
        for (en_ = n_ - 1; en_ >= 2 && unsolved == 0;) {
            for (int its = 0; FindBlock() && SplitOffInfinity(); ++its, --left) {
                if (left == 0) {
                    unsolved = en_ + 1;
                    break;
                }
                if (!ChooseShift(its)) break;
                for (Index k = l_; k < en_ && Step(k);) ++k;
            }
        }
        if (n_ > 1) b(n_ - 1, 0) = epsb_;
        return unsolved;
    }

    /// The vectors, a pair's for its first column alone, each with the largest modulus 1. So
    /// wide a range needs no scaling on the way.
    ::Eigen::MatrixXcd Vectors(const ::Eigen::VectorXd& alfr, const ::Eigen::VectorXd& alfi,
                               const ::Eigen::VectorXd& beta) const {
        ::Eigen::MatrixXcd vectors = ::Eigen::MatrixXcd::Zero(n_, n_);
        for (Index en = n_ - 1; en >= 0; --en) {
            const bool isPair = en > 0 && alfi(en) != 0;
            const Index first = isPair ? en - 1 : en;
            const Wide alpha(alfr(first), alfi(first));
            const WideVector x =
                z.cast<Wide>() * BackSubstituted(en, isPair, alpha, beta(first));
            vectors.col(first) =
                (x / x.cwiseAbs().maxCoeff()).template cast<std::complex<double>>();
            en = first;
        }
        return vectors;
    }

  private:
    using Wide = std::complex<long double>;
    using WideVector = ::Eigen::Matrix<Wide, ::Eigen::Dynamic, 1>;

    // I + v·uᵀ, u(0) = 1.
    template <std::size_t N>
    struct Reflection {
        bool isNone;
        std::array<double, N> u{}, v{};

        explicit Reflection(const std::array<double, N>& x) {
            double scale = 0, sum = 0;
            for (const double element : x) scale += std::abs(element);
            isNone = scale == 0;
            if (isNone) return;
            for (std::size_t i = 0; i < N; ++i) {
                u[i] = x[i] / scale;
                sum += u[i] * u[i];
            }
            const double r = u[0] < 0 ? -std::sqrt(sum) : std::sqrt(sum);
            v[0] = -(u[0] + r) / r;
            for (std::size_t i = 1; i < N; ++i) {
                v[i] = -u[i] / r;
                u[i] = v[i] / v[0];
            }
        }
        // N elements.
        template <typename At>
        void To(const At& at) const {
            double t = at(0);
            for (std::size_t i = 1; i < N; ++i) t += u[i] * at(i);
            for (std::size_t i = 0; i < N; ++i) at(i) += t * v[i];
        }
        // Rows k, k + 1, …
        void ToRows(Matrix& m, Index k, Index from, Index to) const {
            for (Index j = from; j <= to; ++j)
                To([&](std::size_t i) -> double& { return m(k + Index(i), j); });
        }
        // Columns k, k − 1, …
        void ToColumns(Matrix& m, Index k, Index to) const {
            for (Index j = 0; j <= to; ++j)
                To([&](std::size_t i) -> double& { return m(j, k - Index(i)); });
        }
    };

    Index n_ = a.rows();
    double epsa_ = 0, epsb_ = 0;
    Index ld_ = 0, l_ = 0, en_ = 0;  // the block, and where a sweep begins in it
    bool isDouble_ = true;
    std::array<double, 3> start_{};

    // By a reflection of all rows from l on, which a follows.
    void TriangularizeColumn(Index l) {
        ::Eigen::VectorXd u = b.col(l).tail(n_ - l);
        double scale = 0, sum = 0;
        for (Index i = 1; i < n_ - l; ++i) scale += std::abs(u(i));
        if (scale == 0) return;
        scale += std::abs(u(0));
        for (double& x : u) {
            x /= scale;
            sum += x * x;
        }
        const double r = u(0) < 0 ? -std::sqrt(sum) : std::sqrt(sum);
        u(0) += r;
        const double rho = r * u(0);
        const auto reflect = [&](Matrix& m, Index from) {
            for (Index j = from; j < n_; ++j) {
                double t = 0;
                for (Index i = l; i < n_; ++i) t += u(i - l) * m(i, j);
                t = -t / rho;
                for (Index i = l; i < n_; ++i) m(i, j) += t * u(i - l);
            }
        };
        reflect(b, l + 1);
        reflect(a, 0);
        b.col(l).tail(n_ - l).setZero();
        b(l, l) = -scale * r;
    }

    double HessenbergNorm(const Matrix& m) const {
        double norm = 0;
        for (Index i = 0; i < n_; ++i) {
            double sum = 0;
            for (Index j = std::max<Index>(0, i - 1); j < n_; ++j) sum += std::abs(m(i, j));
            norm = std::max(norm, sum);
        }
        return norm == 0 ? 1 : norm;
    }

    // False when the block that ends in row en has at most two rows; then en is above it.
    bool FindBlock() {
        for (l_ = en_; l_ > 0; --l_)
            if (std::abs(a(l_, l_ - 1)) <= epsa_) return SplitAbove();
        ld_ = 0;
        return true;
    }
    bool SplitAbove() {
        a(l_, l_ - 1) = 0;
        if (l_ < en_ - 1) {
            ld_ = l_;
            return true;
        }
        en_ = l_ - 1;
        return false;
    }
    bool SplitOffInfinity() {
        while (!(std::abs(b(l_, l_)) > epsb_)) {
            b(l_, l_) = 0;
            const Reflection<2> rows({a(l_, l_), a(l_ + 1, l_)});
            if (!rows.isNone) {
                rows.ToRows(a, l_, l_, n_ - 1);
                rows.ToRows(b, l_, l_, n_ - 1);
            }
            if (l_ > 0) a(l_, l_ - 1) = -a(l_, l_ - 1);
            ++l_;
            if (!SplitAbove()) return false;
        }
        return true;
    }

    double NotTiny(double x) const { return std::abs(x) < epsb_ ? epsb_ : x; }

    // The first column of the sweep; false when a zero of b used up the block meanwhile.
    bool ChooseShift(int its) {
        isDouble_ = true;
        if (its == 10) {
            start_ = {0, 1, 1.1605};
            return true;
        }
        const Index na = en_ - 1, l1 = l_ + 1;
        const double b22 = NotTiny(b(l1, l1)), b33 = NotTiny(b(na, na)),
                     b44 = NotTiny(b(en_, en_));
        const double a11 = a(l_, l_) / b(l_, l_), a21 = a(l1, l_) / b(l_, l_);
        const double a33 = a(na, na) / b33, a34 = a(na, en_) / b44, a43 = a(en_, na) / b33,
                     a44 = a(en_, en_) / b44, b34 = b(na, en_) / b44;
        const double t = 0.5 * (a43 * b34 - a33 - a44);
        const double root = t * t + a34 * a43 - a33 * a44;
        if (!(root < 0)) {
            const double p = -t + std::sqrt(root), q = -t - std::sqrt(root);
            return StartSingle(std::abs(q - a44) < std::abs(p - a44) ? q : p);
        }
        const double a12 = a(l_, l1) / b22, a22 = a(l1, l1) / b22, b12 = b(l_, l1) / b22;
        start_ = {
            ((a33 - a11) * (a44 - a11) - a34 * a43 + a43 * b34 * a11) / a21 + a12 - a11 * b12,
            (a22 - a11) - a21 * b12 - (a33 - a11) - (a44 - a11) + a43 * b34,
            a(l1 + 1, l1) / b22};
        return true;
    }

    // Below two consecutive small elements of a.
    bool StartSingle(double shift) {
        isDouble_ = false;
        for (l_ = en_ - 2; l_ > ld_; --l_) {
            double t = a(l_, l_);
            if (std::abs(b(l_, l_)) > epsb_) t -= shift * b(l_, l_);
            if (std::abs(a(l_, l_ - 1)) > std::abs(t / a(l_ + 1, l_)) * epsa_) continue;
            if (!SplitOffInfinity()) return false;
            break;
        }
        start_ = {a(l_, l_) / b(l_, l_) - shift, a(l_ + 1, l_) / b(l_, l_), 0};
        if (l_ != ld_) a(l_, l_ - 1) = -a(l_, l_ - 1);
        return true;
    }

    // False when the bulge is used up.
    bool Step(Index k) {
        const Index last = std::min(en_, k + (isDouble_ ? 3 : 2));
        if (isDouble_ && k != en_ - 1) {
            if (!ClearColumnOfA<3>(k)) return true;
            ClearRowOfB<3>(k, last);
        } else if (!ClearColumnOfA<2>(k)) {
            return false;
        }
        ClearRowOfB<2>(k, last);
        return true;
    }

    template <std::size_t N>
    bool ClearColumnOfA(Index k) {
        const bool isFirst = k == l_;
        std::array<double, N> x;
        for (std::size_t i = 0; i < N; ++i) x[i] = isFirst ? start_[i] : a(k + Index(i), k - 1);
        const Reflection<N> rows(x);
        if (rows.isNone) return false;
        rows.ToRows(a, k, isFirst ? k : k - 1, n_ - 1);
        rows.ToRows(b, k, isFirst ? k : k - 1, n_ - 1);
        for (Index i = 1; !isFirst && i < Index(N); ++i) a(k + i, k - 1) = 0;
        return true;
    }

    // From column k to the diagonal, N − 1 columns farther, by a reflection of columns that
    // reaches down to row last of a.
    template <std::size_t N>
    void ClearRowOfB(Index k, Index last) {
        const Index row = k + Index(N) - 1;
        std::array<double, N> x;
        for (std::size_t i = 0; i < N; ++i) x[i] = b(row, row - Index(i));
        const Reflection<N> columns(x);
        if (columns.isNone) return;
        columns.ToColumns(a, row, last);
        columns.ToColumns(b, row, last);
        for (Index j = k; j < row; ++j) b(row, j) = 0;
        columns.ToColumns(z, row, n_ - 1);
    }

    // (β·a − α·b)·v = 0 from the bottom up, row by row or, where a couples two, two rows:
    // (w, x; y, zz)·(v(i − 1), v(i)) = −(r, s).
    WideVector BackSubstituted(Index en, bool isPair, Wide alpha, long double beta) const {
        const long double epsb = n_ > 1 ? b(n_ - 1, 0) : 0;
        const auto element = [&](Index i, Index j) {
            return beta * a(i, j) - alpha * (i > j ? 0.0L : b(i, j));
        };
        WideVector v = WideVector::Zero(n_);
        v(en) = isPair ? Wide(0, 1) : 1;
        if (isPair) v(en - 1) = -element(en, en) * v(en) / element(en, en - 1);
        for (Index i = en - (isPair ? 2 : 1); i >= 0; --i) {
            const auto sum = [&](Index row) {
                Wide solved = 0;
                for (Index j = i + 1; j <= en; ++j) solved += element(row, j) * v(j);
                return solved;
            };
            const Wide y = i > 0 ? element(i, i - 1) : 0, zz = element(i, i), s = sum(i);
            if (y == Wide(0)) {
                v(i) = -s / (zz == Wide(0) ? epsb : zz);
                continue;
            }
            const Wide w = element(i - 1, i - 1), x = element(i - 1, i), r = sum(i - 1);
            Wide determinant = w * zz - x * y;
            if (determinant == Wide(0)) determinant = epsb;
            v(i) = (y * r - w * s) / determinant;
            v(i - 1) = std::abs(y) > std::abs(w) ? (-s - zz * v(i)) / y : (-r - x * v(i)) / w;
            --i;
        }
        return v;
    }
};

}  // namespace ZEMRA::Vibration::tests
