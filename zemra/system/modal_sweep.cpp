#include "zemra/system/modal_sweep.h"

#include <algorithm>

namespace ZEMRA::Vibration {
namespace {

// The table of products costs as much as one or two frequencies.
constexpr int kWorthTabulating = 4;
// Where |s|² or |s² + ω²|² or its reciprocal exceeds this, the other one may lose digits.
constexpr double kMost = 1e200;

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

// How the functions of frequency that the kernel computes make up (j·w·I − A)⁻¹: element
// (row, column) holds sign times function term.
struct Entry {
    int row, column, term;
    double sign;
};

// The functions' places and what they stand for.
struct Expansion {
    std::vector<double> a, b;
    std::vector<char> drives;
    std::vector<Entry> entries;
    int terms = 0;

    explicit Expansion(const std::vector<Mode>& modes) {
        for (std::size_t i = 0; i < modes.size(); ++i) {
            const Mode& mode = modes[i];
            const Mode* const next = i + 1 < modes.size() ? &modes[i + 1] : nullptr;
            const bool isPredecessor = next && next->predecessor == mode.row;
            a.push_back(mode.a);
            b.push_back(mode.b);
            drives.push_back(isPredecessor ? 1 : 0);
            AddBlock(mode.row, mode.row, mode.IsPair());
            if (isPredecessor) AddBlock(mode.row, next->row, mode.IsPair());
        }
    }

  private:
    // f, or (f, g; −g, f).
    void AddBlock(int row, int column, bool pair) {
        entries.push_back({row, column, terms, 1.0});
        if (pair) {
            entries.push_back({row + 1, column + 1, terms, 1.0});
            ++terms;
            entries.push_back({row, column + 1, terms, 1.0});
            entries.push_back({row + 1, column, terms, -1.0});
        }
        ++terms;
    }
};

// Results of the same terms, one after the other.
struct Group {
    int row, rows;  // of the result
    int firstTerm, terms;
    std::vector<double> coefficients;  // [result][term]
};

// The products of the rows of C and the columns of B that go with each function.
Group OutputGroup(const Expansion& expansion, const Matrix2D<double>& B,
                  const Matrix2D<double>& C, int row, int rows) {
    const int m = B.Size(1), terms = expansion.terms;
    Group group{row, rows, 0, terms, {}};
    group.coefficients.assign(Index(rows) * Index(m) * Index(terms), 0.0);
    for (int i = 0; i < rows; ++i) {
        double* const to = group.coefficients.data() + Index(i) * Index(m) * Index(terms);
        const double* const c = C.Row(row + i).Data();
        for (const Entry& entry : expansion.entries) {
            const double* const b = B.Row(entry.column).Data();
            for (int j = 0; j < m; ++j)
                to[Index(j) * Index(terms) + Index(entry.term)] +=
                    entry.sign * c[entry.row] * b[j];
        }
    }
    return group;
}

// A state hears of its own mode and of the one that its mode drives in a chain.
Group StateGroup(const Expansion& expansion, const Matrix2D<double>& B, int row) {
    const int m = B.Size(1);
    int first = expansion.terms, last = 0;
    for (const Entry& entry : expansion.entries)
        if (entry.row == row) {
            first = std::min(first, entry.term);
            last = std::max(last, entry.term);
        }
    Group group{row, 1, first, last + 1 - first, {}};
    group.coefficients.assign(Index(m) * Index(group.terms), 0.0);
    for (const Entry& entry : expansion.entries)
        if (entry.row == row)
            for (int j = 0; j < m; ++j)
                group.coefficients[Index(j) * Index(group.terms) + Index(entry.term - first)] =
                    entry.sign * B(entry.column, j);
    return group;
}

// Answers the groups at all frequencies, chunk by chunk.
class Sweeper {
  public:
    Sweeper(const SweepKernels& kernels, const Expansion& expansion, const Matrix2D<double>* D,
            const Matrix1D<double>& w, Matrix3D<Complex>& result)
        : kernels_(kernels),
          expansion_(expansion),
          D_(D),
          w_(w),
          result_(result),
          lanes_(Index(kernels.modalLanes)),
          rows_(lanes_),
          functions_(2 * lanes_ * Index(expansion.terms)),
          frequencies_(lanes_),
          outside_(lanes_) {}

    void Run(const std::vector<Group>& groups, std::vector<char>& solved) {
        std::size_t most = 0;
        for (const Group& group : groups)
            most = std::max(most, group.coefficients.size() / Index(group.terms));
        h_.resize(2 * lanes_ * most);
        for (std::size_t begin = 0; begin < solved.size(); begin += lanes_) {
            const std::size_t count = std::min(lanes_, solved.size() - begin);
            ComputeFunctions(begin, count);
            for (const Group& group : groups) {
                kernels_.combineModes(group.rows * result_.Size(2), group.terms,
                                      group.coefficients.data(),
                                      functions_.data() + 2 * lanes_ * Index(group.firstTerm),
                                      h_.data(), outside_.data());
                Store(group, begin, count);
            }
            for (std::size_t l = 0; l < count; ++l)
                if (!(outside_[l] == 0.0)) solved[begin + l] = 0;
        }
    }

  private:
    const SweepKernels& kernels_;
    const Expansion& expansion_;
    const Matrix2D<double>* D_;
    const Matrix1D<double>& w_;
    Matrix3D<Complex>& result_;
    std::size_t lanes_;
    std::vector<Complex*> rows_;
    std::vector<double> functions_, h_, frequencies_;
    std::vector<double> outside_;  // one per lane, 0 where all is well

    void ComputeFunctions(std::size_t begin, std::size_t count) {
        for (std::size_t l = 0; l < lanes_; ++l)
            frequencies_[l] = w_(static_cast<int>(begin + std::min(l, count - 1)));
        kernels_.modalFunctions(
            {static_cast<int>(expansion_.a.size()), expansion_.a.data(), expansion_.b.data(),
             expansion_.drives.data(), frequencies_.data()},
            functions_.data(), outside_.data());
        for (double& size : outside_) size = size <= kMost ? 0.0 : 1.0;
    }

    // Row by row of all slots: what is read is contiguous.
    void Store(const Group& group, std::size_t begin, std::size_t count) {
        const int m = result_.Size(2);
        const double* from = h_.data();
        for (int i = group.row; i < group.row + group.rows; ++i) {
            for (std::size_t l = 0; l < count; ++l)
                rows_[l] = result_.Slot(static_cast<int>(begin + l)).Row(i).Data();
            const double* const d = D_ ? D_->Row(i).Data() : nullptr;
            for (int j = 0; j < m; ++j, from += 2 * lanes_) {
                const double feedthrough = d ? d[j] : 0.0;
                for (std::size_t l = 0; l < count; ++l)
                    rows_[l][j] = {from[l] + feedthrough, from[lanes_ + l]};
            }
        }
    }
};

// One input and one output of modes without chains: what frequency does to a mode is added up
// as it is made.
struct Response {
    std::vector<RealModeTerm> reals;
    std::vector<PairTerm> pairs;

    Response(const std::vector<Mode>& modes, const Matrix2D<double>& B,
             const Matrix2D<double>& C) {
        reals.reserve(modes.size());
        pairs.reserve(modes.size());
        const double* const c = C.Row(0).Data();
        for (const auto& [row, a, b, predecessor] : modes) {
            const double cb = c[row] * B(row, 0);
            if (b == 0.0) {
                reals.push_back({a * a, -a * cb, -cb});
                continue;
            }
            // (in·s + across·b)/(s² + b²) with s = jw − a
            const double in = cb + c[row + 1] * B(row + 1, 0);
            const double across = c[row] * B(row + 1, 0) - c[row + 1] * B(row, 0);
            const double re = across * b - in * a;
            pairs.push_back({a * a + b * b, 4.0 * a * a, re, in, -2.0 * a * in, 2.0 * a * re});
        }
    }

    // Adds d. Returns whether each frequency is answered.
    std::vector<char> Sweep(const SweepKernels& kernels, const Matrix1D<double>& w, double d,
                            Matrix3D<Complex>& result) const {
        const std::size_t lanes = Index(kernels.modalLanes), count = Index(w.Size(0));
        std::vector<char> solved(count);
        std::vector<double> last(lanes), h(2 * lanes), size(lanes);
        for (std::size_t begin = 0; begin < count; begin += lanes) {
            const std::size_t some = std::min(lanes, count - begin);
            const double* frequencies = w.Data() + begin;
            if (some < lanes) {
                std::fill(std::copy_n(frequencies, some, last.begin()), last.end(), 1.0);
                frequencies = last.data();
            }
            kernels.modalResponse(
                {static_cast<int>(reals.size()), static_cast<int>(pairs.size()), reals.data(),
                 pairs.data(), frequencies},
                h.data(), size.data());
            for (std::size_t l = 0; l < some; ++l) {
                const double re = h[l], im = h[lanes + l];
                solved[begin + l] = size[l] <= kMost && (re + im) * 0.0 == 0.0 ? 1 : 0;
                result(static_cast<int>(begin + l), 0, 0) = {re + d, im};
            }
        }
        return solved;
    }
};

bool HasChains(const std::vector<Mode>& modes) {
    return std::any_of(modes.begin(), modes.end(),
                       [](const Mode& mode) { return mode.predecessor != mode.row; });
}

}  // namespace

std::vector<char> ModalSweep::Run(const Matrices& model, const Matrix1D<double>& w,
                                  Matrix3D<Complex>& result) const {
    const auto& [modes, B, C, D] = model;
    const int n = B.Size(0), m = B.Size(1), p = C ? C->Size(0) : n;
    std::vector<char> solved(Index(w.Size(0)), 0);
    if (road_ == SweepRoad::kWritten || w.Size(0) < kWorthTabulating || n == 0 || m == 0 ||
        p == 0)
        return solved;
    if (C && p == 1 && m == 1 && !HasChains(modes))
        return Response(modes, B, *C).Sweep(*kernels_, w, D ? (*D)(0, 0) : 0.0, result);

    std::fill(solved.begin(), solved.end(), 1);
    const Expansion expansion(modes);
    Sweeper sweeper(*kernels_, expansion, D, w, result);
    if (!C) {
        std::vector<Group> groups;
        groups.reserve(static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i) groups.push_back(StateGroup(expansion, B, i));
        sweeper.Run(groups, solved);
        return solved;
    }
    // Outputs so many at a time that the table stays small.
    const int slice = std::max(1, 4 * n / m);
    for (int row = 0; row < p; row += slice)
        sweeper.Run({OutputGroup(expansion, B, *C, row, std::min(slice, p - row))}, solved);
    return solved;
}

}  // namespace ZEMRA::Vibration
