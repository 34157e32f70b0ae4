#pragma once

// Included by one source per instruction set; see zemra/matrix/lanes.h for what that forbids.

#include "zemra/matrix/lanes.h"
#include "zemra/solver/inverse_kernels.h"

namespace ZEMRA::Vibration {
namespace {

using Long = long long;

constexpr Long kPanel = 8;            // steps whose updates are applied together
constexpr int kSmall = 64;            // orders that are inverted in place
constexpr double kZeroPivot = 1e-18;  // of the solvers
constexpr double kLargestPivot = 1e150;

constexpr Long RoundedUp(Long n, Long multiple) {
    return (n + multiple - 1) / multiple * multiple;
}

// Rows a multiple of 4096 bytes apart would compete for the same lines of the cache.
Long Leading(int n) {
    const Long ld = RoundedUp(n, kPanel);
    return ld % 32 == 0 ? ld + kPanel : ld;
}

#define ZEMRA_INLINE inline __attribute__((always_inline))

// A number in each lane, of one part or of two that stand a stride apart.
template <int kParts>
struct Number;

template <>
struct Number<1> {
    Lanes re;

    static ZEMRA_INLINE Number Zero() { return {Lanes{}}; }
    static ZEMRA_INLINE Number From(const double* p, Long) { return {Load(p)}; }
    static ZEMRA_INLINE Number Same(const double* p, Long) { return {Spread(p[0])}; }
    ZEMRA_INLINE void To(double* p, Long) const { Store(p, re); }
    ZEMRA_INLINE void FirstTo(double* p, Long) const { p[0] = re[0]; }

    // |x|
    ZEMRA_INLINE Lanes Size() const { return re < 0.0 ? -re : re; }
    // Not-a-number where x is not finite.
    ZEMRA_INLINE Lanes Vanishing() const { return re * 0.0; }
    ZEMRA_INLINE Number ZeroWhere(Mask mask) const { return {mask ? Lanes{} : re}; }
    ZEMRA_INLINE Number Times(const Number& x) const { return {re * x.re}; }
    ZEMRA_INLINE void Subtract(const Number& f, const Number& x) { re -= f.re * x.re; }
};

template <>
struct Number<2> {
    Lanes re, im;

    static ZEMRA_INLINE Number Zero() { return {Lanes{}, Lanes{}}; }
    static ZEMRA_INLINE Number From(const double* p, Long stride) {
        return {Load(p), Load(p + stride)};
    }
    static ZEMRA_INLINE Number Same(const double* p, Long stride) {
        return {Spread(p[0]), Spread(p[stride])};
    }
    ZEMRA_INLINE void To(double* p, Long stride) const {
        Store(p, re);
        Store(p + stride, im);
    }
    ZEMRA_INLINE void FirstTo(double* p, Long stride) const {
        p[0] = re[0];
        p[stride] = im[0];
    }

    // |x|²
    ZEMRA_INLINE Lanes Size() const { return re * re + im * im; }
    ZEMRA_INLINE Lanes Vanishing() const { return re * 0.0 + im * 0.0; }
    ZEMRA_INLINE Number ZeroWhere(Mask mask) const {
        return {mask ? Lanes{} : re, mask ? Lanes{} : im};
    }
    ZEMRA_INLINE Number Times(const Number& x) const {
        return {re * x.re - im * x.im, re * x.im + im * x.re};
    }
    ZEMRA_INLINE void Subtract(const Number& f, const Number& x) {
        const Number product = f.Times(x);
        re -= product.re;
        im -= product.im;
    }
};

// kWide numbers side by side. Spelt as a list so that compilers keep it in registers.
template <int kParts, int kWide>
struct Pack {
    Number<kParts> first;
    Pack<kParts, kWide - 1> rest;

    static ZEMRA_INLINE Pack From(const double* p, Long stride) {
        return {Number<kParts>::From(p, stride),
                Pack<kParts, kWide - 1>::From(p + kLanes, stride)};
    }
    // Real parts, the imaginary ones being zero.
    static ZEMRA_INLINE Pack FromReal(const double* p) {
        Pack y{Number<kParts>::Zero(), Pack<kParts, kWide - 1>::FromReal(p + kLanes)};
        y.first.re = Load(p);
        return y;
    }
    ZEMRA_INLINE void To(double* p, Long stride) const {
        first.To(p, stride);
        rest.To(p + kLanes, stride);
    }
    ZEMRA_INLINE Pack Times(const Number<kParts>& f) const {
        return {f.Times(first), rest.Times(f)};
    }
    ZEMRA_INLINE void Subtract(const Number<kParts>& f, const double* x, Long stride) {
        first.Subtract(f, Number<kParts>::From(x, stride));
        rest.Subtract(f, x + kLanes, stride);
    }
    ZEMRA_INLINE void Subtract(const Number<kParts>& f, const Pack& x) {
        first.Subtract(f, x.first);
        rest.Subtract(f, x.rest);
    }
    ZEMRA_INLINE Lanes Vanishing() const { return first.Vanishing() + rest.Vanishing(); }
};

template <int kParts>
struct Pack<kParts, 0> {
    static ZEMRA_INLINE Pack From(const double*, Long) { return {}; }
    static ZEMRA_INLINE Pack FromReal(const double*) { return {}; }
    ZEMRA_INLINE void To(double*, Long) const {}
    ZEMRA_INLINE Pack Times(const Number<kParts>&) const { return {}; }
    ZEMRA_INLINE void Subtract(const Number<kParts>&, const double*, Long) {}
    ZEMRA_INLINE void Subtract(const Number<kParts>&, const Pack&) {}
    ZEMRA_INLINE Lanes Vanishing() const { return Lanes{}; }
};

template <int kParts>
double MagnitudeOfSize(double size) {
    return kParts == 1 ? size : __builtin_sqrt(size);
}

struct Candidate {
    Long index;
    double magnitude;
};

// The first of the largest magnitudes among elements begin … end−1, given their sizes and the
// largest of these. Roots of different squares may be equal, and it is those that tie.
template <int kParts>
Candidate FirstOf(Long begin, Long end, const double* sizes, double largest) {
    const double magnitude = MagnitudeOfSize<kParts>(largest);
    const double close = largest * (1.0 - 0x1p-50);
    for (Long i = begin; i < end; ++i)
        if (sizes[i] >= close && MagnitudeOfSize<kParts>(sizes[i]) == magnitude)
            return {i, magnitude};
    return {begin, magnitude};
}

template <int kParts>
double SizeOf(const double* element, Long stride) {
    const double re = element[0], im = element[(kParts - 1) * stride];
    return kParts == 2 ? re * re + im * im : __builtin_fabs(re);
}

// The same of a vector, or of elements a stride apart. sizes is scratch of their number.
template <int kParts>
Candidate FindLargest(Long begin, Long end, const double* v, Long stride, double* sizes) {
    Lanes sizesOfLanes{};
    Long i = begin;
    for (; i + kLanes <= end; i += kLanes) {
        const Lanes size = Number<kParts>::From(v + i, stride).Size();
        Store(sizes + i, size);
        sizesOfLanes = size > sizesOfLanes ? size : sizesOfLanes;
    }
    double largest = 0.0;
    for (int l = 0; l < kLanes; ++l)
        largest = sizesOfLanes[l] > largest ? sizesOfLanes[l] : largest;
    for (; i < end; ++i) {
        sizes[i] = SizeOf<kParts>(v + i, stride);
        largest = sizes[i] > largest ? sizes[i] : largest;
    }
    return FirstOf<kParts>(begin, end, sizes, largest);
}

constexpr Long kWidest = 16;  // columns of the inverse that are made together

// A window of kWidest numbers that begins p before the one holds it at place p; it is zero
// where p is kWidest.
constexpr double kUnit[3 * kWidest] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

inline void Exchange(double& a, double& b) {
    const double old = a;
    a = b;
    b = old;
}
void ExchangeVectors(Long size, double* a, double* b) {
    for (Long j = 0; j < size; j += kLanes) {
        const Lanes old = Load(a + j);
        Store(a + j, Load(b + j));
        Store(b + j, old);
    }
}
inline void Exchange(int& a, int& b) {
    const int old = a;
    a = b;
    b = old;
}

template <int kParts>
Number<kParts> ReciprocalOf(const double* element, Long stride) {
    double parts[2] = {element[0], kParts == 2 ? element[(kParts - 1) * stride] : 0.0};
    if (kParts == 2)
        Reciprocate(parts[0], parts[1]);
    else
        parts[0] = 1.0 / parts[0];
    return Number<kParts>::Same(parts, 1);
}

bool IsPivot(double magnitude) { return magnitude >= kZeroPivot && magnitude <= kLargestPivot; }

bool AreZero(Lanes x) {
    for (int l = 0; l < kLanes; ++l)
        if (x[l] != 0.0) return false;  // so is not-a-number
    return true;
}

// The matrix of a job, and which row and which unknown its exchanges have brought to each
// place.
class ExchangedMatrix {
  protected:
    explicit ExchangedMatrix(const InverseJob& job)
        : n_(job.n),
          ld_(Leading(job.n)),
          w_(job.w),
          x_(job.x),
          rowOf_(job.indices),
          unknownOf_(rowOf_ + n_) {
        for (int i = 0; i < n_; ++i) rowOf_[i] = unknownOf_[i] = i;
    }

    Long n_, ld_;
    double* w_;
    double* const* x_;
    int *rowOf_, *unknownOf_;

    // Of the parts of a vector, with room to read some lanes past its end.
    Long Stride() const { return ld_ + kPanel; }
};

// A matrix that the first-level cache holds, in its own place. When k rows have been pivots,
// the first k columns of the rows below hold their part of the inverse of the lower factor, in
// the order of the pivots; pivot row i holds that up to its diagonal and the upper factor
// behind.
template <int kParts>
class SmallInversion : ExchangedMatrix {
  public:
    explicit SmallInversion(const InverseJob& job)
        : ExchangedMatrix(job),
          offsets_(unknownOf_ + n_),
          sizes_(job.work),
          row_(sizes_ + ld_ + kPanel) {}

    static Long WorkSize(int n) { return 2 * (Leading(n) + kPanel) * (kParts + 1); }

    bool Run() {
        for (Long j = 0; j < kParts * ld_; ++j) row_[j] = 0.0;
        for (Long k = 0; k < n_; ++k) {
            const Candidate inColumn = FindInColumn(k);
            const Candidate inRow = FindLargest<kParts>(k + 1, n_, Row(k), ld_, sizes_);
            const bool byColumn = inRow.magnitude > inColumn.magnitude;
            if (!IsPivot(byColumn ? inRow.magnitude : inColumn.magnitude)) return false;
            if (byColumn)
                ExchangeColumns(k, inRow.index);
            else if (inColumn.index != k)
                ExchangeRows(k, inColumn.index);
            Eliminate(k);
        }
        Lanes notFinite{};
        for (Long i = n_ - 1; i >= 0; --i) Substitute(i, notFinite);
        if (!AreZero(notFinite)) return false;
        Scatter();
        return true;
    }

  private:
    using Element = Number<kParts>;

    int* offsets_;
    double *sizes_, *row_;

    double* Row(Long i) const { return w_ + i * kParts * ld_; }

    Candidate FindInColumn(Long k) const {
        const double* element = Row(k) + k;
        double largest = 0.0;
        for (Long i = k; i < n_; ++i, element += kParts * ld_) {
            sizes_[i] = SizeOf<kParts>(element, ld_);
            largest = sizes_[i] > largest ? sizes_[i] : largest;
        }
        return FirstOf<kParts>(k, n_, sizes_, largest);
    }

    void ExchangeRows(Long k, Long p) {
        Exchange(rowOf_[k], rowOf_[p]);
        ExchangeVectors(kParts * ld_, Row(k), Row(p));
    }

    void ExchangeColumns(Long k, Long q) {
        Exchange(unknownOf_[k], unknownOf_[q]);
        for (Long i = 0; i < n_; ++i)
            for (int h = 0; h < kParts; ++h) Exchange(Row(i)[h * ld_ + k], Row(i)[h * ld_ + q]);
    }

    // Scales the pivot row and takes it from the rows that it reaches, two at a time.
    void Eliminate(Long k) {
        double* const pivotRow = Row(k);
        const Element reciprocal = ReciprocalOf<kParts>(pivotRow + k, ld_);
        for (Long j = 0; j < n_; j += kLanes)
            reciprocal.Times(Element::From(pivotRow + j, ld_)).To(pivotRow + j, ld_);
        reciprocal.FirstTo(pivotRow + k, ld_);
        double* waiting = nullptr;
        for (Long i = k + 1; i < n_; ++i) {
            double* const row = Row(i);
            if (SizeOf<kParts>(row + k, ld_) == 0.0) {
                for (int h = 0; h < kParts; ++h) row[h * ld_ + k] = 0.0;  // its square vanished
                continue;
            }
            if (waiting) SubtractPivotRow(k, pivotRow, waiting, row);
            waiting = waiting ? nullptr : row;
        }
        if (waiting) SubtractPivotRow(k, pivotRow, waiting, row_);
    }

    void SubtractPivotRow(Long k, const double* pivotRow, double* row, double* other) const {
        const Element f = Element::Same(row + k, ld_), g = Element::Same(other + k, ld_);
        const Element reciprocal = Element::Same(pivotRow + k, ld_);
        Element ofRow = Element::Zero(), ofOther = Element::Zero();
        ofRow.Subtract(f, reciprocal);
        ofOther.Subtract(g, reciprocal);
        for (Long j = 0; j < n_; j += kLanes) {
            const Element x = Element::From(pivotRow + j, ld_);
            Element y = Element::From(row + j, ld_), z = Element::From(other + j, ld_);
            y.Subtract(f, x);
            z.Subtract(g, x);
            y.To(row + j, ld_);
            z.To(other + j, ld_);
        }
        ofRow.FirstTo(row + k, ld_);
        ofOther.FirstTo(other + k, ld_);
    }

    // Row i of the inverse, those below being there.
    void Substitute(Long i, Lanes& notFinite) const {
        double* const row = Row(i);
        Long count = 0;
        for (Long j = i + 1; j < n_; ++j) {
            bool isZero = true;
            for (int h = 0; h < kParts; ++h) {
                double& element = row[h * ld_ + j];
                row_[h * Stride() + count] = element;
                isZero &= element == 0.0;
                element = 0.0;
            }
            offsets_[count] = static_cast<int>(j * kParts * ld_);
            count += isZero ? 0 : 1;
        }
        for (Long j = 0; j < n_;) {
            const Long rest = n_ - j;
            if (rest > 5 * kLanes || (rest > 3 * kLanes && rest <= 4 * kLanes))
                j = SubtractRows<4>(j, row, count, notFinite);
            else if (rest > 4 * kLanes)
                j = SubtractRows<5>(j, row, count, notFinite);
            else if (rest > 2 * kLanes)
                j = SubtractRows<3>(j, row, count, notFinite);
            else if (rest > kLanes)
                j = SubtractRows<2>(j, row, count, notFinite);
            else
                j = SubtractRows<1>(j, row, count, notFinite);
        }
    }

    // From column j on so many vectors of a row; gives the column behind them.
    template <int kWide>
    Long SubtractRows(Long j, double* row, Long count, Lanes& notFinite) const {
        auto y = Pack<kParts, kWide>::From(row + j, ld_);
        for (Long c = 0; c < count; ++c)
            y.Subtract(Element::Same(row_ + c, Stride()), w_ + offsets_[c] + j, ld_);
        y.To(row + j, ld_);
        notFinite += y.Vanishing();
        return j + kWide * kLanes;
    }

    // Rows belong to unknowns, columns to rows of the matrix.
    void Scatter() const {
        for (Long i = 0; i < n_; ++i) {
            const double* const from = Row(i);
            double* const to = x_[unknownOf_[i]];
            for (Long j = 0; j < n_; ++j)
                for (int h = 0; h < kParts; ++h) to[kParts * rowOf_[j] + h] = from[h * ld_ + j];
        }
    }
};

// A larger one: its place holds factors below the diagonal, and the rest of each row as its
// last exchange has left it.
template <int kParts>
class Inversion : ExchangedMatrix {
  public:
    explicit Inversion(const InverseJob& job)
        : ExchangedMatrix(job),
          lowerBegin_(unknownOf_ + n_),
          lowerEnd_(lowerBegin_ + n_),
          upperEnd_(lowerEnd_ + n_),
          columns_(upperEnd_ + n_),
          row_(job.work),
          column_(row_ + Padded()),
          sizes_(column_ + Padded()),
          reciprocals_(sizes_ + Padded()),
          panel_(reciprocals_ + Padded()),
          tile_(panel_ + kPanel * Padded()) {}

    static Long WorkSize(int n) {
        return kParts * ((4 + kPanel) * (Leading(n) + kPanel) + kWidest * n);
    }

    bool Run() {
        for (Long begin = 0; begin < n_; begin += kPanel) {
            const Long end = begin + kPanel < n_ ? begin + kPanel : n_;
            LoadPanel(begin, end);
            for (Long k = begin; k < end; ++k)
                if (!Step(begin, end, k)) return false;
            StoreFactors(begin, end);
            UpdateTrailing(begin, end);
        }
        Compress();
        Lanes notFinite{};
        for (Long first = 0; first < n_;) {
            const Long rest = n_ - first;
            if (rest > 2 * kLanes) {
                SolveTile<4>(first, notFinite);
                first += 4 * kLanes;
            } else if (rest > kLanes) {
                SolveTile<2>(first, notFinite);
                first += 2 * kLanes;
            } else {
                SolveTile<1>(first, notFinite);
                first += kLanes;
            }
        }
        return AreZero(notFinite);
    }

  private:
    using Element = Number<kParts>;

    static constexpr int kDense = -1;

    int *lowerBegin_, *lowerEnd_, *upperEnd_, *columns_;  // nonzeros row by row
    double *row_, *column_;                               // of the step
    double *sizes_, *reciprocals_;
    double* panel_;  // columns of the panel from its first row on: factors, then elements
    double* tile_;

    Long Padded() const { return kParts * Stride(); }
    double* Row(Long i) const { return w_ + i * kParts * ld_; }
    double* PanelColumn(Long t) const { return panel_ + t % kPanel * Padded(); }

    void LoadPanel(Long begin, Long end) {
        const Long part = Stride(), next = Padded();
        for (int h = 0; h < kParts; ++h) {
            for (Long i = begin; i < n_; ++i) {
                const double* const from = Row(i) + h * ld_ + begin;
                double* const to = panel_ + h * part + i;
                for (Long t = 0; t < kPanel; ++t) to[t * next] = from[t];  // zeros past the end
            }
            for (Long t = begin; t < end; ++t)
                for (Long i = n_; i < part; ++i) PanelColumn(t)[h * part + i] = 0.0;
        }
    }

    // The updates that step k makes stay within the panel's columns and row k.
    bool Step(Long begin, Long end, Long k) {
        UpdateColumn(begin, k);
        UpdateRow(begin, k);
        const Candidate inColumn = FindLargest<kParts>(k, n_, column_, Stride(), sizes_);
        const Candidate inRow = FindLargest<kParts>(k + 1, n_, row_, Stride(), sizes_);
        const bool byColumn = inRow.magnitude > inColumn.magnitude;
        const Candidate pivot = byColumn ? inRow : inColumn;
        if (!IsPivot(pivot.magnitude)) return false;
        if (byColumn)
            ExchangeColumns(begin, end, k, pivot.index);
        else if (pivot.index != k)
            ExchangeRows(begin, end, k, pivot.index);
        FinishRow(k);
        FinishColumn(k);
        return true;
    }

    // Column k from row k on, as the steps of the panel before leave it.
    void UpdateColumn(Long begin, Long k) {
        for (Long i = k - k % kLanes; i < n_; i += kLanes) {
            Element y = Element::From(PanelColumn(k) + i, Stride());
            for (Long t = begin; t < k; ++t)
                y.Subtract(Element::From(PanelColumn(t) + i, Stride()),
                           Element::Same(Row(t) + k, ld_));
            y.To(column_ + i, Stride());
        }
    }

    // Row k from column k on, the same.
    void UpdateRow(Long begin, Long k) {
        for (Long j = k - k % kLanes; j < n_; j += kLanes) {
            Element y = Element::From(Row(k) + j, ld_);
            for (Long t = begin; t < k; ++t)
                y.Subtract(Element::Same(PanelColumn(t) + k, Stride()),
                           Element::From(Row(t) + j, ld_));
            y.To(row_ + j, Stride());
        }
    }

    void ExchangeRows(Long begin, Long end, Long k, Long p) {
        Exchange(rowOf_[k], rowOf_[p]);
        ExchangeVectors(kParts * ld_, Row(k), Row(p));
        for (int h = 0; h < kParts; ++h) {
            const Long part = h * Stride();
            Exchange(column_[part + k], column_[part + p]);
            for (Long t = begin; t < end; ++t)
                Exchange(PanelColumn(t)[part + k], PanelColumn(t)[part + p]);
        }
        UpdateRow(begin, k);
    }

    void ExchangeColumns(Long begin, Long end, Long k, Long q) {
        Exchange(unknownOf_[k], unknownOf_[q]);
        for (int h = 0; h < kParts; ++h) {
            const Long part = h * Stride(), step = kParts * ld_;
            Exchange(row_[part + k], row_[part + q]);
            double* const w = w_ + h * ld_;
            double* const ofK = PanelColumn(k) + part;
            for (Long i = 0; i < k; ++i) Exchange(w[i * step + k], w[i * step + q]);
            for (Long i = k; i < n_; ++i) Exchange(ofK[i], w[i * step + q]);
            if (q >= end) continue;
            double* const ofQ = PanelColumn(q) + part;
            for (Long i = k; i < n_; ++i) ofQ[i] = w[i * step + q];
        }
        UpdateColumn(begin, k);
    }

    // Divides the pivot row by its pivot, through one reciprocal. What is written before its
    // diagonal gives way to the factors when the panel ends.
    void FinishRow(Long k) {
        const Element reciprocal = ReciprocalOf<kParts>(row_ + k, Stride());
        reciprocal.FirstTo(reciprocals_ + k, Stride());
        for (Long j = k - k % kLanes; j < n_; j += kLanes)
            reciprocal.Times(Element::From(row_ + j, Stride())).To(Row(k) + j, ld_);
    }

    // The factors of the rows below; one whose magnitude is 0 takes no part.
    void FinishColumn(Long k) {
        for (Long i = k - k % kLanes; i < n_; i += kLanes) {
            const Element f = Element::From(column_ + i, Stride());
            f.ZeroWhere(f.Size() == 0.0).To(PanelColumn(k) + i, Stride());
        }
    }

    void StoreFactors(Long begin, Long end) {
        const Long part = Stride(), next = Padded();
        for (int h = 0; h < kParts; ++h)
            for (Long i = begin + 1; i < n_; ++i) {
                const double* const from = panel_ + h * part + i;
                double* const to = Row(i) + h * ld_ + begin;
                const Long count = i < end ? i - begin : end - begin;
                for (Long t = 0; t < count; ++t) to[t] = from[t * next];
            }
    }

    // Two rows at a time, those that the panel reaches.
    void UpdateTrailing(Long begin, Long end) {
        if (end == n_) return;
        Long waiting = 0;
        for (Long i = end; i < n_; ++i) {
            bool isReached = false;
            for (Long t = begin; t < end; ++t)
                isReached |= !IsZero(PanelColumn(t) + i, Stride());
            if (!isReached) continue;
            if (waiting != 0) UpdateRows(begin, end, waiting, i);
            waiting = waiting != 0 ? 0 : i;
        }
        if (waiting != 0) UpdateRows(begin, end, waiting, n_);
    }

    // Row n_ is nobody's: its factors are zero.
    void UpdateRows(Long begin, Long end, Long a, Long b) {
        const double* pivotRows[kPanel];
        double factors[kPanel][2 * kParts];
        Long steps = 0;
        for (Long t = begin; t < end; ++t) {
            const double* const ofA = PanelColumn(t) + a;
            const double* const ofB = PanelColumn(t) + b;
            if (IsZero(ofA, Stride()) && IsZero(ofB, Stride())) continue;
            for (int h = 0; h < kParts; ++h) {
                factors[steps][2 * h] = ofA[h * Stride()];
                factors[steps][2 * h + 1] = ofB[h * Stride()];
            }
            pivotRows[steps++] = Row(t);
        }
        double* const rowA = Row(a);
        double* const rowB = b < n_ ? Row(b) : row_;
        using Pair = Pack<kParts, 2>;
        for (Long j = end; j < n_; j += 2 * kLanes) {
            Pair y = Pair::From(rowA + j, ld_), z = Pair::From(rowB + j, ld_);
            for (Long t = 0; t < steps; ++t) {
                const Pair x = Pair::From(pivotRows[t] + j, ld_);
                y.Subtract(Element::Same(factors[t], 2), x);
                z.Subtract(Element::Same(factors[t] + 1, 2), x);
            }
            y.To(rowA + j, ld_);
            z.To(rowB + j, ld_);
        }
    }

    // Moves the nonzeros of each half of a row to its front and notes where they stood, unless
    // there is hardly a zero.
    void Compress() {
        for (Long i = 0; i < n_; ++i) {
            lowerBegin_[i] = 0;
            lowerEnd_[i] = CompressPart(i, 0, i);
            upperEnd_[i] = CompressPart(i, i + 1, n_);
        }
    }

    // The end of the nonzeros, or kDense.
    int CompressPart(Long i, Long begin, Long end) {
        double* const row = Row(i);
        Long zeros = 0;
        for (Long j = begin; j < end; ++j) zeros += IsZero(row + j, ld_) ? 1 : 0;
        if (8 * zeros <= end - begin) return kDense;
        int* const columns = columns_ + i * n_;
        Long to = begin;
        for (Long j = begin; j < end; ++j) {
            const bool isZero = IsZero(row + j, ld_);
            for (int h = 0; h < kParts; ++h) row[h * ld_ + to] = row[h * ld_ + j];
            columns[to] = static_cast<int>(j);
            to += isZero ? 0 : 1;
        }
        return static_cast<int>(to);
    }

    static bool IsZero(const double* element, Long stride) {
        return element[0] == 0.0 && element[(kParts - 1) * stride] == 0.0;
    }

    // Columns first … of the inverse, kWide vectors of them.
    template <int kWide>
    void SolveTile(Long first, Lanes& notFinite) {
        Forward<kWide>(first);
        Backward<kWide>(notFinite);
        Scatter(first, kWide * kLanes);
    }

    // Subtracts elements begin … end−1 of a row times their rows of the tile, which are those
    // of the columns listed, or of the same numbers.
    template <int kWide>
    ZEMRA_INLINE void SubtractRows(const double* row, const int* columns, Long begin, Long end,
                                   Pack<kParts, kWide>& sum) const {
        constexpr Long kWidth = kWide * kLanes, kSize = kParts * kWidth;
        auto y = sum;
        if (columns) {
            for (Long c = begin; c < end; ++c)
                y.Subtract(Element::Same(row + c, ld_), tile_ + columns[c] * kSize, kWidth);
        } else {
            const double* x = tile_ + begin * kSize;
            for (Long c = begin; c < end; ++c, x += kSize)
                y.Subtract(Element::Same(row + c, ld_), x, kWidth);
        }
        sum = y;
    }

    // The tile's columns of the inverse of the lower factor. They stand in the order of the
    // pivot rows, so that it is triangular.
    template <int kWide>
    void Forward(Long first) {
        constexpr Long kWidth = kWide * kLanes, kSize = kParts * kWidth;
        double* to = tile_;
        for (Long i = 0; i < first * kSize; ++i) *to++ = 0.0;
        for (Long i = first; i < n_; ++i, to += kSize) {
            const Long one = i - first < kWidth ? i - first : kWidest;
            auto y = Pack<kParts, kWide>::FromReal(kUnit + kWidest - one);
            if (lowerEnd_[i] == kDense) {
                SubtractRows<kWide>(Row(i), nullptr, first, i, y);
            } else {
                const int* const columns = columns_ + i * n_;
                int begin = lowerBegin_[i];
                while (begin < lowerEnd_[i] && columns[begin] < first) ++begin;
                lowerBegin_[i] = begin;
                SubtractRows<kWide>(Row(i), columns, begin, lowerEnd_[i], y);
            }
            const Element reciprocal = Element::Same(reciprocals_ + i, Stride());
            y.Times(reciprocal).To(to, kWidth);
        }
    }

    template <int kWide>
    void Backward(Lanes& notFinite) {
        constexpr Long kWidth = kWide * kLanes, kSize = kParts * kWidth;
        for (Long i = n_ - 1; i >= 0; --i) {
            double* const to = tile_ + i * kSize;
            auto y = Pack<kParts, kWide>::From(to, kWidth);
            const bool isDense = upperEnd_[i] == kDense;
            SubtractRows<kWide>(Row(i), isDense ? nullptr : columns_ + i * n_, i + 1,
                                isDense ? n_ : upperEnd_[i], y);
            y.To(to, kWidth);
            notFinite += y.Vanishing();
        }
    }

    // Rows belong to unknowns, columns to rows of the matrix.
    void Scatter(Long first, Long width) const {
        const Long count = n_ - first < width ? n_ - first : width;
        const double* from = tile_;
        for (Long i = 0; i < n_; ++i, from += kParts * width) {
            double* const to = x_[unknownOf_[i]];
            for (Long c = 0; c < count; ++c)
                for (int h = 0; h < kParts; ++h)
                    to[kParts * rowOf_[first + c] + h] = from[h * width + c];
        }
    }
};

template <int kParts>
bool Invert(const InverseJob& job) {
    return job.n <= kSmall ? SmallInversion<kParts>(job).Run() : Inversion<kParts>(job).Run();
}

template <int kParts>
Long WorkSizeOf(int n) {
    return n <= kSmall ? SmallInversion<kParts>::WorkSize(n) : Inversion<kParts>::WorkSize(n);
}
Long WorkSize(int n, int parts) { return parts == 1 ? WorkSizeOf<1>(n) : WorkSizeOf<2>(n); }

constexpr InverseKernels kInverseKernels = {Invert<1>, Invert<2>, Leading, WorkSize};

#undef ZEMRA_INLINE

}  // namespace
}  // namespace ZEMRA::Vibration
