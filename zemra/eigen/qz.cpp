#include "zemra/eigen/qz.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "zemra/eigen/eigen_kernels.h"
#include "zemra/eigen/flat_matrix.h"
#include "zemra/eigen/qz_kernels.h"
#include "zemra/eigen/schur_vectors.h"
#include "zemra/matrix/kernels.h"

namespace ZEMRA::Vibration {
namespace {

// A column-major array whose rows and columns are counted from 1.
template <typename T>
class OneBasedView {
  public:
    OneBasedView(int nm, T* a) : a_(a), nm_(static_cast<std::size_t>(nm)) {}
    explicit operator bool() const { return a_ != nullptr; }
    T& operator()(int i, int j) const { return Column(j)[i - 1]; }
    // The elements of column j from its first row on.
    T* Column(int j) const { return a_ + static_cast<std::size_t>(j - 1) * nm_; }

  private:
    T* a_;
    std::size_t nm_;
};
using OneBased = OneBasedView<double>;
using OneBasedInput = OneBasedView<const double>;

// A square matrix of order n row by row, so that reflections of rows, which must all be done at
// once, run along them. Its rows and columns are counted from 1. Some zeros stand behind each
// row, and whole rows of zeros below, for kernels that work on four rows or columns at a time.
class RowMajor {
  public:
    RowMajor(int n, OneBased m)
        : n_(n),
          ld_(Leading(n)),
          numbers_(ld_ * (static_cast<std::size_t>(n) + kStrip) + kLine) {
        void* start = numbers_.data();
        std::size_t space = numbers_.size() * sizeof(double);
        a_ = static_cast<double*>(std::align(kLine * sizeof(double), 1, start, space));
        for (int j = 1; j <= n; ++j)
            for (int i = 1; i <= n; ++i) (*this)(i, j) = m(i, j);
    }
    RowMajor(const RowMajor&) = delete;
    RowMajor& operator=(const RowMajor&) = delete;
    void CopyTo(OneBased m) const {
        for (int j = 1; j <= n_; ++j)
            for (int i = 1; i <= n_; ++i) m(i, j) = (*this)(i, j);
    }

    static constexpr int kStrip = 4;

    double& operator()(int i, int j) const {
        return a_[static_cast<std::size_t>(i - 1) * ld_ + static_cast<std::size_t>(j - 1)];
    }
    long long Stride() const { return static_cast<long long>(ld_); }

  private:
    int n_;
    std::size_t ld_;
    std::vector<double> numbers_;
    double* a_;

    static constexpr std::size_t kLine = 8;
    static constexpr std::size_t kBehind = 16;
    // Rows a multiple of 4096 bytes apart would compete for the same lines of the cache.
    static std::size_t Leading(int n) {
        const std::size_t ld =
            (static_cast<std::size_t>(n) + kBehind + kLine - 1) / kLine * kLine;
        return ld % 64 == 0 ? ld + kLine : ld;
    }
};

double WithSignOf(double y, double x) { return y < 0 ? -x : x; }

// The reflection that turns (x, y) into a multiple of the first axis; none for zeros.
struct Reflection : Reflection2 {
    Reflection(double x, double y) : Reflection2() {
        const double scale = std::abs(x) + std::abs(y);
        isNone = scale == 0;
        if (isNone) return;
        x /= scale;
        y /= scale;
        // Half of the signs are negative: a branch would be guessed wrong as often, and the
        // work begun behind it lost. + 0.0 makes a negative zero count as positive.
        const double r = std::copysign(std::sqrt(x * x + y * y), x + 0.0);
        v0 = -(x + r) / r;
        v1 = -y / r;
        u1 = v1 / v0;
    }

    void Apply(double& x, double& y) const {
        const double t = x + u1 * y;
        x += t * v0;
        y += t * v1;
    }

    // Rows first and first + 1 of m, columns from to to.
    template <typename Matrix>
    void ApplyToRows(const Matrix& m, int first, int from, int to) const {
        for (int j = from; j <= to; ++j) Apply(m(first, j), m(first + 1, j));
    }
    void ApplyToRows(const QzKernels& kernels, const RowMajor& m, int first, int from,
                     int to) const {
        if (from <= to)
            kernels.reflectRows2(*this, to - from + 1, &m(first, from), &m(first + 1, from));
    }

    // Columns last and last − 1 of m, rows from to to.
    template <typename Matrix>
    void ApplyToColumns(const Matrix& m, int last, int from, int to) const {
        for (int i = from; i <= to; ++i) Apply(m(i, last), m(i, last - 1));
    }

    bool isNone;
};

// ---------------------------------------------------------------------------------------------
// qzhes

// The reduction of a, with b, to Hessenberg and triangular form.
class Reduction {
  public:
    Reduction(int n, const RowMajor& a, const RowMajor& b, OneBased z, long long strideOfZ)
        : n_(n), a_(a), b_(b), z_(z), strideOfZ_(strideOfZ) {}

    // Reduces b to triangular form by Householder reflections, which a follows.
    void TriangularizeB() {
        std::vector<double> u(static_cast<std::size_t>(n_));
        for (int l = 1; l < n_; ++l) {
            for (int i = l; i <= n_; ++i) u[static_cast<std::size_t>(i - l)] = b_(i, l);
            const int count = n_ - l + 1;
            double scale = 0;
            for (int i = 1; i < count; ++i) scale += std::abs(u[static_cast<std::size_t>(i)]);
            if (scale == 0) continue;
            scale += std::abs(u[0]);
            double sumOfSquares = 0;
            for (int i = 0; i < count; ++i) {
                double& x = u[static_cast<std::size_t>(i)];
                x /= scale;
                sumOfSquares += x * x;
            }
            const double r = WithSignOf(u[0], std::sqrt(sumOfSquares));
            u[0] += r;
            const double rho = r * u[0];
            kernels_.reflectColumns(count, n_ - l, b_.Stride(), &b_(l, l + 1), u.data(), rho);
            kernels_.reflectColumns(count, n_, a_.Stride(), &a_(l, 1), u.data(), rho);
            b_(l, l) = -scale * r;
            for (int i = l + 1; i <= n_; ++i) b_(i, l) = 0;
        }
    }

    // Zeroes column k of a from the bottom up to row k + 2 by reflections of two rows; each
    // fills one element below the diagonal of b, which a reflection of two columns removes.
    // The latter reach a strip of four rows when its first row is to be reflected itself, or
    // at the end; b's rows need them no more once they are triangular.
    void ReduceColumn(int k) {
        columns_.clear();
        // What reflections are made of is brought up to date before the rows, number by
        // number, and the next one of rows is begun beside the one of columns: neither needs
        // the other, and both take long.
        Reflection next(a_(n_ - 1, k), a_(n_, k));
        for (int l = n_ - 1; l > k; --l) {
            if (l % kTwo == 0)
                CatchUp(l - kTwo + 1, kTwo);
            else if (l % kStrip == 0)
                CatchUp(l - kStrip + 1, kStrip, CaughtUp(l - kStrip + 1, l));
            columns_.push_back({});
            const Reflection rows = next;
            double head = a_(l, k), tail = a_(l + 1, k);
            rows.Apply(head, tail);
            if (l - 1 > k) next = {a_(l - 1, k), head};
            if (rows.isNone) continue;
            double above = b_(l, l), fill = b_(l + 1, l);
            rows.Apply(above, fill);
            above = b_(l, l + 1);
            double diagonal = b_(l + 1, l + 1);
            rows.Apply(above, diagonal);
            const Reflection columns(diagonal, fill);
            rows.ApplyToRows(kernels_, b_, l, l, n_);
            rows.ApplyToRows(kernels_, a_, l, k, n_);
            a_(l + 1, k) = 0;
            if (columns.isNone) continue;
            columns_.back() = columns;
            const int top = StripOf(l);
            columns.ApplyToColumns(b_, l + 1, top, l + 1);
            b_(l + 1, l) = 0;
            columns.ApplyToColumns(a_, l + 1, top, std::min(n_, top + kStrip - 1));
        }
        const int strip = StripOf(k + 1);
        int top = 1;
        for (; top + kTwo < strip; top += kTwo) CatchUp(top, kTwo);
        for (; top < strip; top += kStrip) CatchUp(top, kStrip, CaughtUp(top, k));
        for (top = strip + kStrip; top + kStrip <= n_; top += kTwo) {
            // The second of two strips first as far as the first one is.
            ReflectStrip(top + kStrip, kStrip, Since(top + kStrip), Since(top), false);
            ReflectStrip(top, kTwo, Since(top), columns_.size(), false);
        }
        if (top <= n_) ReflectStrip(top, kStrip, Since(top), columns_.size(), false);
        const std::size_t begin = FirstIn(0);
        if (!z_ || begin >= columns_.size()) return;
        lists_.push_back(
            {n_ - static_cast<int>(begin),
             {columns_.begin() + static_cast<std::ptrdiff_t>(begin), columns_.end()}});
        if (lists_.size() == kLists) ReflectZ();
    }

    // What nobody reads can wait: the rows of z, a few at a time, go through the reflections of
    // several columns of a while they are in the cache.
    void ReflectZ() {
        constexpr int kRows = 16;
        for (int row = 0; row < n_; row += kRows)
            for (const auto& [last, reflections] : lists_)
                kernels_.reflectDownColumns(
                    std::min(kRows, n_ - row), strideOfZ_, z_.Column(last) + row,
                    static_cast<long long>(reflections.size()), reflections.data());
        lists_.clear();
    }

  private:
    static constexpr int kStrip = RowMajor::kStrip, kTwo = 2 * kStrip;

    const QzKernels& kernels_ = QzKernelsOf(ChosenKernels());
    int n_;
    const RowMajor &a_, &b_;
    OneBased z_;
    long long strideOfZ_;
    std::vector<Reflection2> columns_;  // l + 1 and l, from l = n − 1 down

    // Reflections that z waits for, from those of columns last and last − 1 down.
    struct List {
        int last;
        std::vector<Reflection2> reflections;
    };
    std::vector<List> lists_;
    static constexpr std::size_t kLists = 8;

    // The first row of the strip that a row belongs to.
    static int StripOf(int row) { return (row - 1) / kStrip * kStrip + 1; }

    // The first reflection from one on.
    std::size_t FirstIn(std::size_t begin) const {
        while (begin < columns_.size() && columns_[begin].v0 == 0) ++begin;
        return begin;
    }

    // All reflections of columns so far, but for those that some rows have seen already.
    void CatchUp(int top, int nrows, std::size_t from = 0) {
        ReflectStrip(top, nrows, from, columns_.size(), true);
    }
    // How many a strip saw when the one below it was reached, by a loop that is at row l.
    std::size_t CaughtUp(int top, int l) const {
        const int below = top + kTwo - 1;
        return below % kTwo == 0 && l < below && below < n_
                   ? static_cast<std::size_t>(n_ - 1 - below)
                   : 0;
    }
    // The first of those since a strip's rows were reflected themselves, by l = top − 1 last.
    std::size_t Since(int top) const { return static_cast<std::size_t>(n_ - top); }

    void ReflectStrip(int top, int nrows, std::size_t from, std::size_t end, bool withB) {
        const std::size_t begin = FirstIn(from);
        if (begin >= end) return;
        const int last = n_ - static_cast<int>(begin);
        kernels_.reflectDownRows(a_.Stride(), &a_(top, last), withB ? &b_(top, last) : nullptr,
                                 nrows, static_cast<long long>(end - begin),
                                 columns_.data() + begin);
    }
};

// ---------------------------------------------------------------------------------------------
// qzit

// The largest sum of magnitudes along a row of a Hessenberg matrix; 1 for the zero matrix.
double HessenbergNorm(int n, const RowMajor& m) {
    double norm = 0;
    for (int i = 1; i <= n; ++i) {
        double sum = 0;
        for (int j = std::max(1, i - 1); j <= n; ++j) sum += std::abs(m(i, j));
        norm = std::max(norm, sum);
    }
    return norm == 0 ? 1.0 : norm;
}

// The iteration on rows ld … en of the pencil. A sweep begins in row l, which is below ld only
// where two small elements of a follow each other.
class Iteration {
  public:
    Iteration(int n, const RowMajor& a, const RowMajor& b, OneBased z, long long strideOfZ,
              double epsa, double epsb)
        : n_(n),
          a_(a),
          b_(b),
          z_(z),
          strideOfZ_(strideOfZ),
          epsa_(epsa),
          epsb_(epsb),
          en_(n),
          budget_(30 * n) {}

    // 0, or the row whose eigenvalue was sought when the budget ran out.
    int Run() {
        while (en_ > 2) {
            lastColumn_ = z_ ? n_ : en_;
            for (iterations_ = 0; FindBlock() && DeflateTopOfB(); ++iterations_, --budget_) {
                if (budget_ == 0) return en_;
                if (!StartSweep()) break;
                firstRow_ = z_ ? 1 : ld_;
                Sweep();
            }
        }
        return 0;
    }

  private:
    const QzKernels& kernels_ = QzKernelsOf(ChosenKernels());
    int n_;
    const RowMajor &a_, &b_;
    OneBased z_;
    long long strideOfZ_;
    double epsa_, epsb_;
    int en_, ld_ = 1, l_ = 1;
    int iterations_ = 0;                 // for the eigenvalue sought
    int budget_;                         // for all that remain
    int firstRow_ = 1, lastColumn_ = 0;  // what the transformations keep up
    bool isDouble_ = true;
    std::array<double, 3> start_{};  // the first column of the shifted product
    std::vector<SweepStep> steps_;   // of the sweep, from row l on

    // Finds the unreduced block that ends in row en. False when it has at most two rows: then
    // it is left for qzval, and en moves above it.
    bool FindBlock() {
        for (l_ = en_; l_ > 1; --l_)
            if (std::abs(a_(l_, l_ - 1)) <= epsa_) return SplitAboveSweep();
        ld_ = 1;
        return true;
    }

    bool SplitAboveSweep() {
        a_(l_, l_ - 1) = 0;
        if (l_ >= en_ - 1) {
            en_ = l_ - 1;
            return false;
        }
        ld_ = l_;
        return true;
    }

    // A negligible element at the top of b is an infinite eigenvalue: a reflection of two rows
    // splits it off. False when the block is used up. (Not-a-number is split off as well.)
    bool DeflateTopOfB() {
        while (!(std::abs(b_(l_, l_)) > epsb_)) {
            b_(l_, l_) = 0;
            const Reflection rows(a_(l_, l_), a_(l_ + 1, l_));
            if (!rows.isNone) {
                rows.ApplyToRows(kernels_, a_, l_, l_, lastColumn_);
                rows.ApplyToRows(kernels_, b_, l_, l_, lastColumn_);
            }
            if (l_ != 1) a_(l_, l_ - 1) = -a_(l_, l_ - 1);
            ++l_;
            if (!SplitAboveSweep()) return false;
        }
        return true;
    }

    // Chooses the shifts and, from them, the first column of the sweep. False when a zero of b
    // used up the block on the way.
    bool StartSweep() {
        isDouble_ = true;
        if (iterations_ == 10) {
            start_ = {0.0, 1.0, 1.1605};
            return true;
        }
        // The trailing block of a·b⁻¹.
        const int na = en_ - 1;
        const double b33 = AtLeastTolerance(b_(na, na)), b44 = AtLeastTolerance(b_(en_, en_));
        const double a33 = a_(na, na) / b33, a34 = a_(na, en_) / b44;
        const double a43 = a_(en_, na) / b33, a44 = a_(en_, en_) / b44;
        const double b34 = b_(na, en_) / b44;
        const double t = 0.5 * (a43 * b34 - a33 - a44);
        const double discriminant = t * t + a34 * a43 - a33 * a44;
        if (!(discriminant < 0)) {
            const double r = std::sqrt(discriminant);
            const double p = -t + r, q = -t - r;
            return StartSingle(std::abs(q - a44) < std::abs(p - a44) ? q : p);
        }
        const int l1 = l_ + 1;
        const double b11 = b_(l_, l_), b22 = AtLeastTolerance(b_(l1, l1));
        const double a11 = a_(l_, l_) / b11, a21 = a_(l1, l_) / b11;
        const double a12 = a_(l_, l1) / b22, a22 = a_(l1, l1) / b22, b12 = b_(l_, l1) / b22;
        start_[0] =
            ((a33 - a11) * (a44 - a11) - a34 * a43 + a43 * b34 * a11) / a21 + a12 - a11 * b12;
        start_[1] = (a22 - a11) - a21 * b12 - (a33 - a11) - (a44 - a11) + a43 * b34;
        start_[2] = a_(l1 + 1, l1) / b22;
        return true;
    }

    double AtLeastTolerance(double x) const { return std::abs(x) < epsb_ ? epsb_ : x; }

    // A single real shift: the sweep may begin below two consecutive small elements of a.
    bool StartSingle(double shift) {
        isDouble_ = false;
        for (l_ = en_ - 2; l_ > ld_; --l_) {
            double t = a_(l_, l_);
            if (std::abs(b_(l_, l_)) > epsb_) t -= shift * b_(l_, l_);
            if (std::abs(a_(l_, l_ - 1)) > std::abs(t / a_(l_ + 1, l_)) * epsa_) continue;
            if (!DeflateTopOfB()) return false;
            break;
        }
        const double b11 = b_(l_, l_);
        start_ = {a_(l_, l_) / b11 - shift, a_(l_ + 1, l_) / b11, 0.0};
        if (l_ != ld_) a_(l_, l_ - 1) = -a_(l_, l_ - 1);
        return true;
    }

    // Chases the bulge of the starting column down to row en.
    void Sweep() {
        steps_.assign(static_cast<std::size_t>(en_ - l_), {});
        kernels_.chaseBulge({isDouble_,
                             l_ - 1,
                             en_ - 1,
                             firstRow_ - 1,
                             lastColumn_ - 1,
                             a_.Stride(),
                             &a_(1, 1),
                             &b_(1, 1),
                             z_ ? n_ : 0,
                             strideOfZ_,
                             z_ ? z_.Column(1) : nullptr,
                             {start_[0], start_[1], start_[2]},
                             steps_.data()});
    }
};

// ---------------------------------------------------------------------------------------------
// qzval

// Rows and columns k and k + 1 of a and b, divided by the sums an and bn of their magnitudes.
struct Block {
    Block(OneBased a, OneBased b, int k)
        : an(std::abs(a(k, k)) + std::abs(a(k, k + 1)) + std::abs(a(k + 1, k)) +
             std::abs(a(k + 1, k + 1))),
          bn(std::abs(b(k, k)) + std::abs(b(k, k + 1)) + std::abs(b(k + 1, k + 1))),
          a11(a(k, k) / an),
          a12(a(k, k + 1) / an),
          a21(a(k + 1, k) / an),
          a22(a(k + 1, k + 1) / an),
          b11(b(k, k) / bn),
          b12(b(k, k + 1) / bn),
          b22(b(k + 1, k + 1) / bn) {}

    double an, bn;
    double a11, a12, a21, a22, b11, b12, b22;
};

// A plane rotation whose second component is complex; the quarter turn when x is zero.
struct Rotation {
    double c = 0;
    Complex s = 1;
    Rotation(const Complex& x, const Complex& y) {
        const double length = std::abs(x);
        if (length == 0) return;
        s = std::conj(x) * y / length;
        const double r = std::sqrt(length * length + std::norm(s));
        c = length / r;
        s /= r;
    }
};

double Sum(const Complex& x) { return std::abs(x.real()) + std::abs(x.imag()); }

// Reads the eigenvalues from the last row to the first.
class Eigenvalues {
  public:
    Eigenvalues(int n, OneBased a, OneBased b, OneBased z, double epsb, double* alfr,
                double* alfi, double* beta)
        : n_(n), a_(a), b_(b), z_(z), epsb_(epsb), alfr_(alfr), alfi_(alfi), beta_(beta) {}

    void Run() {
        for (int en = n_; en >= 1; --en) {
            if (en == 1 || a_(en, en - 1) == 0) {
                StoreDiagonal(en);
            } else {
                SolveBlock(en - 1, en);
                --en;
            }
        }
    }

  private:
    int n_;
    OneBased a_, b_, z_;
    double epsb_;
    double *alfr_, *alfi_, *beta_;

    void StoreDiagonal(int i) {
        Store(i, WithSignOf(b_(i, i), a_(i, i)), 0, std::abs(b_(i, i)));
    }

    void Store(int i, double alfr, double alfi, double beta) {
        alfr_[i - 1] = alfr;
        alfi_[i - 1] = alfi;
        beta_[i - 1] = beta;
    }

    void SolveBlock(int na, int en) {
        // A negligible diagonal element of b: one transformation makes a triangular.
        if (std::abs(b_(na, na)) <= epsb_) {
            ReflectRows(na, {a_(na, na), a_(en, na)});
            return StoreReal(na, en);
        }
        if (!(std::abs(b_(en, en)) > epsb_)) {
            ReflectColumns(en, {a_(en, en), a_(en, na)});
            return StoreReal(na, en);
        }
        const Block m(a_, b_, na);
        // The roots are e + c ± √d; e is the smaller of the two diagonal quotients.
        double e = m.a11 / m.b11;
        const double other = m.a22 / m.b22;
        const double s = m.a21 / (m.b11 * m.b22);
        double t = (m.a22 - e * m.b22) / m.b22;
        if (std::abs(e) > std::abs(other)) {
            e = other;
            t = (m.a11 - e * m.b11) / m.b11;
        }
        const double c = 0.5 * (t - s * m.b12);
        const double d = c * c + s * (m.a12 - e * m.b12);
        if (d < 0)
            StoreComplex(na, m, e + c, std::sqrt(-d));
        else
            SplitReal(na, en, m, e + (c + WithSignOf(c, std::sqrt(d))));
    }

    // Makes both blocks triangular by means of their root e.
    void SplitReal(int na, int en, const Block& m, double e) {
        const double m11 = m.a11 - e * m.b11, m12 = m.a12 - e * m.b12;
        const double m22 = m.a22 - e * m.b22;
        if (std::abs(m11) + std::abs(m12) < std::abs(m.a21) + std::abs(m22))
            ReflectColumns(en, {m22, m.a21});
        else
            ReflectColumns(en, {m12, m11});
        const OneBased larger = m.an < std::abs(e) * m.bn ? a_ : b_;
        ReflectRows(na, {larger(na, na), larger(en, na)});
        StoreReal(na, en);
    }

    // The pair e ± i·ei: the diagonal elements that the unitary transformations which make the
    // blocks triangular would give. They are not applied, so that a and b stay real.
    void StoreComplex(int na, const Block& m, double e, double ei) {
        const Complex root(e, -ei);
        const Complex m11 = m.a11 - root * m.b11, m12 = m.a12 - root * m.b12;
        const Complex m22 = m.a22 - root * m.b22;
        const Rotation z = Sum(m11) + Sum(m12) < std::abs(m.a21) + Sum(m22)
                               ? Rotation(m22, -m.a21)
                               : Rotation(m12, -m11);
        const Rotation q = m.an < (std::abs(e) + ei) * m.bn
                               ? Rotation(z.c * m.a11 + z.s * m.a12, z.c * m.a21 + z.s * m.a22)
                               : Rotation(z.c * m.b11 + z.s * m.b12, z.s * m.b22);
        const Complex ss = std::conj(q.s) * z.s;
        const Complex alpha1 =
            q.c * z.c * m.a11 + q.c * z.s * m.a12 + std::conj(q.s) * z.c * m.a21 + ss * m.a22;
        const Complex beta1 = q.c * z.c * m.b11 + q.c * z.s * m.b12 + ss * m.b22;
        const Complex alpha2 = std::conj(ss) * m.a11 - q.s * z.c * m.a12 -
                               q.c * std::conj(z.s) * m.a21 + q.c * z.c * m.a22;
        const Complex beta2 = std::conj(ss) * m.b11 - q.s * z.c * m.b12 + q.c * z.c * m.b22;
        const bool firstIsLower = (alpha1 * std::conj(beta1)).imag() < 0;
        StoreQuotient(firstIsLower ? na + 1 : na, m, alpha1, beta1);
        StoreQuotient(firstIsLower ? na : na + 1, m, alpha2, beta2);
    }

    // alpha/beta with a real positive denominator.
    void StoreQuotient(int i, const Block& m, const Complex& alpha, const Complex& beta) {
        const Complex t = alpha * std::conj(beta);
        const double r = std::abs(beta);
        Store(i, m.an * t.real() / r, m.an * t.imag() / r, m.bn * r);
    }

    void ReflectColumns(int en, const Reflection& columns) {
        if (columns.isNone) return;
        columns.ApplyToColumns(a_, en, 1, en);
        columns.ApplyToColumns(b_, en, 1, en);
        if (z_) columns.ApplyToColumns(z_, en, 1, n_);
    }

    void ReflectRows(int na, const Reflection& rows) {
        if (rows.isNone) return;
        rows.ApplyToRows(a_, na, na, n_);
        rows.ApplyToRows(b_, na, na, n_);
    }

    void StoreReal(int na, int en) {
        a_(en, na) = 0;
        b_(en, na) = 0;
        StoreDiagonal(na);
        StoreDiagonal(en);
    }
};

// ---------------------------------------------------------------------------------------------
// qzvec

// The rows i and i + 1 of (β·a − α·b)·x = 0: (w, x; y, z) times the unknowns equals −(r, s).
template <typename T>
struct BlockRows {
    T w, x, z, r, s;
    double y;
};

std::array<double, 2> Solve(const BlockRows<double>& m, double) {
    const double upper = (m.x * m.s - m.z * m.r) / (m.w * m.z - m.x * m.y);
    const double lower = std::abs(m.x) <= std::abs(m.z) ? (-m.s - m.y * upper) / m.z
                                                        : (-m.r - m.w * upper) / m.x;
    return {upper, lower};
}

std::array<Complex, 2> Solve(const BlockRows<Complex>& m, double epsb) {
    Complex determinant = m.w * m.z - m.x * m.y;
    if (determinant == 0.0) determinant = epsb;
    const Complex lower = (m.y * m.r - m.w * m.s) / determinant;
    const Complex upper =
        std::abs(m.y) > Sum(m.w) ? (-m.s - m.z * lower) / m.y : (-m.r - m.x * lower) / m.w;
    return {upper, lower};
}

double LargerPart(double x) { return std::abs(x); }
double LargerPart(const Complex& x) { return std::max(std::abs(x.real()), std::abs(x.imag())); }

// Back-substitution for the vector of one eigenvalue (of a pair the first one), α/β, whose
// diagonal block ends in row en. The rows above are solved from the bottom up; each solved
// component is taken into the rows that remain, which runs along the columns.
template <typename T>
class BackSubstitution {
  public:
    BackSubstitution(int en, OneBasedInput a, OneBased b, double epsb, const T& alpha,
                     double beta)
        : a_(a),
          b_(b),
          epsb_(epsb),
          alpha_(alpha),
          beta_(beta),
          x_(Length(en)),
          r_(Length(en)) {}

    // Sets component i and takes it into the rows above it.
    void Set(int i, const T& value) {
        At(x_, i) = value;
        const double* const a = a_.Column(i);
        const double* const b = b_.Column(i);
        for (int k = 0; k < i - 1; ++k)
            At(r_, k + 1) += Product(beta_ * a[k] - Product(alpha_, b[k]), value);
    }

    // Solves row i and those above it.
    void SolveUpFrom(int i) {
        while (i >= 1) {
            if (i > 1 && beta_ * a_(i, i - 1) != 0) {
                const BlockRows<T> rows = {Coefficient(i - 1, i - 1),
                                           Coefficient(i - 1, i),
                                           Coefficient(i, i),
                                           At(r_, i - 1),
                                           At(r_, i),
                                           beta_ * a_(i, i - 1)};
                const auto [upper, lower] = Solve(rows, epsb_);
                Set(i, lower);
                Set(i - 1, upper);
                KeepInRange(std::max(LargerPart(upper), LargerPart(lower)));
                i -= 2;
            } else {
                const T w = Coefficient(i, i);
                const T value = -At(r_, i) / (w == T(0) ? T(epsb_) : w);
                Set(i, value);
                KeepInRange(LargerPart(value));
                --i;
            }
        }
    }

    const std::vector<T>& Vector() const { return x_; }

  private:
    OneBasedInput a_;
    OneBased b_;
    double epsb_;
    T alpha_;
    double beta_;
    std::vector<T> x_;  // the components
    std::vector<T> r_;  // row by row, the sum over the components that are set

    // A repeated eigenvalue makes the components grow by 1/epsb a row: 20 rows would overflow.
    // Powers of two, which leave the result as it is when the vector is normalised.
    void KeepInRange(double largest) {
        if (!(largest > 0x1p300) || std::isinf(largest)) return;
        const T shrink = std::ldexp(1.0, -std::ilogb(largest));
        Scale(static_cast<int>(x_.size()), shrink, x_.data());
        Scale(static_cast<int>(r_.size()), shrink, r_.data());
    }

    static std::size_t Length(int en) { return static_cast<std::size_t>(en); }
    static T& At(std::vector<T>& v, int i) { return v[static_cast<std::size_t>(i - 1)]; }
    T Coefficient(int i, int j) const { return beta_ * a_(i, j) - Product(alpha_, b_(i, j)); }
};

// The vectors of the triangular pencil, written over the columns of b that no later one reads.
void SolveVectors(int n, OneBasedInput a, OneBased b, double epsb, const double* alfr,
                  const double* alfi, const double* beta) {
    for (int en = n; en >= 1; --en) {
        if (en == 1 || alfi[en - 1] == 0) {
            BackSubstitution<double> solution(en, a, b, epsb, alfr[en - 1], beta[en - 1]);
            solution.Set(en, 1.0);
            solution.SolveUpFrom(en - 1);
            std::copy_n(solution.Vector().data(), en, b.Column(en));
            continue;
        }
        // The last component is chosen imaginary, which keeps the matrix of vectors triangular.
        const int na = en - 1;
        const Complex alpha(alfr[na - 1], alfi[na - 1]);
        BackSubstitution<Complex> solution(en, a, b, epsb, alpha, beta[na - 1]);
        const Complex i(0.0, 1.0);
        const Complex lower = alpha * b(en, en) - beta[na - 1] * a(en, en);
        solution.Set(en, i);
        solution.Set(na, i * lower / (beta[na - 1] * a(en, na)));
        solution.SolveUpFrom(na - 1);
        for (int k = 1; k <= en; ++k) {
            const Complex& component = solution.Vector()[static_cast<std::size_t>(k - 1)];
            b(k, na) = component.real();
            b(k, en) = component.imag();
        }
        --en;
    }
}

// z = z·b for the upper triangular b.
void TransformBack(int n, OneBased b, OneBased z) {
    const PaddedMatrices padded(n, 3);
    const FlatMatrix<double> Z = padded(0), Y = padded(1), V = padded(2);
    for (int j = 1; j <= n; ++j) {
        std::copy_n(z.Column(j), n, Z.Column(j - 1));
        std::copy_n(b.Column(j), j, Y.Column(j - 1));
    }
    BackTransform(Z, Y, V, &EigenKernelsOf(ChosenKernels()));
    for (int j = 1; j <= n; ++j) std::copy_n(V.Column(j - 1), n, z.Column(j));
}

void Normalise(int n, const double* alfi, OneBased z) {
    for (int j = 1; j <= n; ++j) {
        double* const re = z.Column(j);
        double* const im = alfi[j - 1] != 0 && j < n ? z.Column(j + 1) : nullptr;
        double largest = 0;
        for (int i = 0; i < n; ++i)  // squares within the range that the components are kept in
            largest = std::max(largest, im ? re[i] * re[i] + im[i] * im[i] : std::abs(re[i]));
        if (im) largest = std::sqrt(largest);
        for (int i = 0; i < n; ++i) re[i] /= largest;
        if (!im) continue;
        for (int i = 0; i < n; ++i) im[i] /= largest;
        ++j;
    }
}

}  // namespace

void qzhes(int nm, int n, double* a, double* b, double* z) {
    const OneBased columnsOfA(nm, a), columnsOfB(nm, b), Z(nm, z);
    if (Z) {
        for (int j = 1; j <= n; ++j) {
            std::fill_n(Z.Column(j), n, 0.0);
            Z(j, j) = 1;
        }
    }
    if (n < 2) return;
    const RowMajor A(n, columnsOfA), B(n, columnsOfB);
    Reduction reduction(n, A, B, Z, nm);
    reduction.TriangularizeB();
    for (int k = 1; k <= n - 2; ++k) reduction.ReduceColumn(k);
    reduction.ReflectZ();
    A.CopyTo(columnsOfA);
    B.CopyTo(columnsOfB);
}

void qzit(int nm, int n, double* a, double* b, double eps1, double* z, int& ierr) {
    ierr = 0;
    if (n < 1) return;
    const OneBased columnsOfA(nm, a), columnsOfB(nm, b), Z(nm, z);
    const RowMajor A(n, columnsOfA), B(n, columnsOfB);
    const double ep = eps1 > 0 ? eps1 : std::numeric_limits<double>::epsilon();
    const double epsb = ep * HessenbergNorm(n, B);
    ierr = Iteration(n, A, B, Z, nm, ep * HessenbergNorm(n, A), epsb).Run();
    if (n > 1) B(n, 1) = epsb;
    A.CopyTo(columnsOfA);
    B.CopyTo(columnsOfB);
}

void qzval(int nm, int n, double* a, double* b, double* alfr, double* alfi, double* beta,
           double* z) {
    const OneBased A(nm, a), B(nm, b), Z(nm, z);
    // With two rows the tolerance stands within the block: it is taken out for the meantime.
    const double epsb = n > 1 ? std::exchange(B(n, 1), 0.0) : 0.0;
    Eigenvalues(n, A, B, Z, epsb, alfr, alfi, beta).Run();
    if (n > 1) B(n, 1) = epsb;
}

void qzvec(int nm, int n, const double* a, double* b, const double* alfr, const double* alfi,
           const double* beta, double* z) {
    const OneBasedInput A(nm, a);
    const OneBased B(nm, b), Z(nm, z);
    const double epsb = n > 1 ? B(n, 1) : 0.0;
    SolveVectors(n, A, B, epsb, alfr, alfi, beta);
    TransformBack(n, B, Z);
    Normalise(n, alfi, Z);
}

}  // namespace ZEMRA::Vibration
