#include "zemra/system/state_space_sweep.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace ZEMRA::Vibration {
namespace {

// Outside this range squares overflow or vanish.
constexpr double kLargest = 1e100;
// A reduction costs as much as some ten dense solutions, of one call or of several. To put it
// to use at a few frequencies costs again what it does at so many, over n, for each input.
constexpr int kWorthReducing = 16;
// Less work than this, in units of n³, is done by the inverse in no time.
constexpr double kWorthPreparing = 4096.0;

// Pivots below these parts of the matrix's norm leave it open whether it is singular. Rounding
// makes a singular matrix show a pivot of n units of 1e-16 times the growth of its elements.
constexpr double kSureReduced = 1e-10;
constexpr double kSureDense = 1e-9;
// The threshold of the inverse, with room for what a pivot may miss of the true distance.
constexpr double kSureAbsolute = 1e-15;

// What the largest error over the frequencies may be, as part of the largest magnitude in its
// row of the result.
constexpr double kTolerance = 1e-13;
constexpr double kRounding = std::numeric_limits<double>::epsilon() / 2;  // u
// Where the bound u·‖|M|‖·‖C·M⁻¹‖·‖M⁻¹·B‖ of the reduced road's errors exceeds that, they are
// measured: the elements of H are changed by this part of themselves, those of Q by this part
// of 1, some ten times their errors, and the answers must agree within that. Where the bound
// exceeds this multiple of it a second change must agree, too, since one may happen to do
// little.
constexpr double kChange = 0x1p-50, kChangeOfQ = 0x1p-51;
constexpr double kDoubtful = 10.0;
// A frequency whose answer moves by more is solved again and corrected by its residual, until
// what is left, no more than this multiple of u·‖M‖·‖M⁻¹‖ of the last correction, is this part
// of the solution. Then only Q is changed, and the answers must agree within this multiple.
constexpr double kLeft = 1e3;
constexpr double kNothing = 1e-3 * kRounding;
constexpr double kMultiple = 2.0;
// With more inputs than the order over this, elimination takes no longer than that.
constexpr int kWorthRefining = 16;
// A magnitude so many times the bound of its own error is no mere error; the distances that the
// bound is made of are estimates.
constexpr double kStandsOut = 1e4;

bool IsInRange(double x) { return std::fabs(x) <= kLargest; }  // false for no number

bool IsInRange(const Matrix2D<double>& m) {
    for (int i = 0; i < m.Size(0); ++i) {
        const double* const row = m.Row(i).Data();
        if (!std::all_of(row, row + m.Size(1), [](double x) { return IsInRange(x); }))
            return false;
    }
    return true;
}

Matrix2D<double> Transposed(const Matrix2D<double>& m) {
    Matrix2D<double> t = m;
    t.Transpose();
    return t;
}

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

// Powers of two that bring each row and its column of A to the same length, in place.
// Parlett & Reinsch, Numer. Math. 13 (1969) 293–304, with lengths in place of sums of
// magnitudes: James, Langou & Lowery, arXiv:1401.5766 (2014).
std::vector<double> Balance(Matrix2D<double>& A) {
    const int n = A.Size(0);
    std::vector<double> scale(Index(n), 1.0);
    for (bool changed = true; changed;) {
        changed = false;
        for (int i = 0; i < n; ++i) {
            double c = 0.0, r = 0.0;
            for (int j = 0; j < n; ++j) {
                if (j == i) continue;
                c += A(j, i) * A(j, i);
                r += A(i, j) * A(i, j);
            }
            c = std::sqrt(c);
            r = std::sqrt(r);
            if (!(c > 0.0 && r > 0.0)) continue;
            const double f = std::exp2(std::round(0.5 * std::log2(r / c)));
            if (!(c * f + r / f < 0.95 * (c + r)) || !IsInRange(scale[Index(i)] * f) ||
                scale[Index(i)] * f < 1.0 / kLargest)
                continue;
            changed = true;
            scale[Index(i)] *= f;
            for (int j = 0; j < n; ++j) A(j, i) *= f;
            for (int j = 0; j < n; ++j) A(i, j) /= f;
        }
    }
    return scale;
}

// Numbers at a multiple of a cache line.
class Workspace {
  public:
    explicit Workspace(long long size)
        : numbers_(std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(size) +
                                                            kLine)) {}
    double* Data() {
        const auto address = reinterpret_cast<std::uintptr_t>(numbers_.get());
        return numbers_.get() + (kLine - address / sizeof(double) % kLine) % kLine;
    }

  private:
    static constexpr std::size_t kLine = 8;
    std::unique_ptr<double[]> numbers_;
};

// What a chunk is cut from; frequencies are solved in any order and number.
struct Problem {
    int n, m, p, rows;         // p = 0: the solution, of n rows, is the result
    std::vector<double> a, b;  // as of SweepChunk
    const Matrix2D<double>* D;
    bool transposed;
};

// What the refinement of solutions asks for besides.
struct Refinement {
    const double* aLow;
    long long aLowStride;
    double enough;
    const Problem& changed;
    Matrix3D<Complex>& answers;  // of the changed problem
};

// Puts lane l of a chunk's results into a slot.
void Scatter(const Problem& problem, const double* h, int lanes, std::size_t l,
             Matrix2D<Complex>& slot) {
    const Matrix2D<double>* const D = problem.D;
    const double* from = h + l;
    const std::ptrdiff_t next = 2 * std::ptrdiff_t{lanes};
    for (int i = 0; i < problem.rows; ++i)
        for (int j = 0; j < problem.m; ++j, from += next) {
            const Complex value(from[0], from[lanes]);
            Complex& to = problem.transposed ? slot(j, i) : slot(i, j);
            to = D ? value + (problem.transposed ? (*D)(j, i) : (*D)(i, j)) : value;
        }
}

// Solves the frequencies of a list, chunk by chunk. distances are those of the list.
std::vector<double> Solve(const Problem& problem, const ChunkKernel& kernel,
                          const Matrix1D<double>& w, const std::vector<int>& list,
                          Matrix3D<Complex>& result, const Refinement* refinement = nullptr) {
    const int n = problem.n, m = problem.m;
    const auto lanes = static_cast<std::size_t>(kernel.lanes);
    const long long results = 2LL * kernel.lanes * problem.rows * m;
    Workspace work(kernel.work(n, m, problem.p)), h(results),
        hChanged(refinement ? results : 0);
    std::vector<double> frequencies(lanes), chunkDistances(lanes), distances(list.size());
    std::vector<int> indices(Index(n + m));
    const int stride = (n + 31) / 32 * 32;
    std::vector<unsigned char> nonzero(Index(n) * Index(stride));
    SweepChunk chunk{};
    chunk.n = n;
    chunk.m = m;
    chunk.p = problem.p;
    chunk.a = problem.a.data();
    chunk.b = problem.b.data();
    chunk.w = frequencies.data();
    chunk.h = h.Data();
    chunk.distance = chunkDistances.data();
    chunk.work = work.Data();
    chunk.indices = indices.data();
    chunk.nonzero = nonzero.data();
    chunk.stride = stride;
    if (refinement) {
        chunk.aLow = refinement->aLow;
        chunk.aLowStride = refinement->aLowStride;
        chunk.enough = refinement->enough;
        chunk.aChanged = refinement->changed.a.data();
        chunk.bChanged = refinement->changed.b.data();
        chunk.hChanged = hChanged.Data();
    }
    for (std::size_t begin = 0; begin < list.size(); begin += lanes) {
        const std::size_t count = std::min(list.size() - begin, lanes);
        for (std::size_t l = 0; l < lanes; ++l)
            frequencies[l] = w(list[begin + std::min(l, count - 1)]);
        kernel.solve(chunk);
        for (std::size_t l = 0; l < count; ++l) {
            const int k = list[begin + l];
            distances[begin + l] = chunkDistances[l];
            Scatter(problem, chunk.h, kernel.lanes, l, result.Slot(k));
            if (refinement)
                Scatter(problem, chunk.hChanged, kernel.lanes, l, refinement->answers.Slot(k));
        }
    }
    return distances;
}

bool IsFinite(const Matrix2D<Complex>& H) {
    for (int i = 0; i < H.Size(0); ++i)
        for (int j = 0; j < H.Size(1); ++j)
            if (!std::isfinite(H(i, j).real()) || !std::isfinite(H(i, j).imag())) return false;
    return true;
}

// √Σ x(k)²
template <typename X>
double Length(int n, const X& x) {
    double sum = 0.0;
    for (int k = 0; k < n; ++k) sum += x(k) * x(k);
    return std::sqrt(sum);
}

// Which outputs an input reaches at all and is wanted at: p × m flags, row-major. The others do
// not hear of it, whatever the frequency, and elimination leaves their response exactly zero.
std::vector<char> Connections(const StateSpaceSweep::Matrices& model) {
    const auto& [A, B, C, D, wanted] = model;
    const int n = A.Size(0), m = B.Size(1), p = C ? C->Size(0) : n;
    std::vector<char> connected(Index(p) * Index(m), 0);
    for (int j = 0; j < m; ++j) {
        std::vector<char> reached(Index(n), 0);
        std::vector<int> open;
        const auto reach = [&](int k) {
            if (std::exchange(reached[Index(k)], 1) == 0) open.push_back(k);
        };
        open.reserve(Index(n));
        for (int k = 0; k < n; ++k)
            if (B(k, j) != 0.0) reach(k);
        while (!open.empty()) {
            const int from = open.back();
            open.pop_back();
            for (int k = 0; k < n; ++k)
                if (A(k, from) != 0.0) reach(k);
        }
        for (int i = 0; i < p; ++i)
            for (int k = 0; k < n; ++k)
                if (reached[Index(k)] && (C ? (*C)(i, k) != 0.0 : k == i))
                    connected[Index(i) * Index(m) + Index(j)] = 1;
    }
    for (std::size_t e = 0; wanted && e < connected.size(); ++e)
        if (!(*wanted)[e]) connected[e] = 0;
    return connected;
}

// Bounds of the errors of the reduced road: ‖c_i‖·max_j‖b_j‖ for each row i of the result, the
// lengths taken in balanced states, to be multiplied by u·‖M‖·‖M⁻¹‖². inputs and outputs are
// those of the problem that was solved, maybe the transposed one.
std::vector<double> ErrorBounds(const std::vector<double>& scale,
                                const Matrix2D<double>& inputs, const Matrix2D<double>* outputs,
                                bool transposed) {
    const int n = inputs.Size(0);
    std::vector<double> in(Index(inputs.Size(1))), out(Index(outputs ? outputs->Size(0) : n));
    for (int j = 0; j < inputs.Size(1); ++j)
        in[Index(j)] = Length(n, [&](int k) { return inputs(k, j) / scale[Index(k)]; });
    for (int i = 0; i < static_cast<int>(out.size()); ++i)
        out[Index(i)] =
            outputs ? Length(n, [&](int k) { return (*outputs)(i, k) * scale[Index(k)]; })
                    : scale[Index(i)];
    if (transposed) std::swap(in, out);
    const double longest = *std::max_element(in.begin(), in.end());
    for (double& bound : out) bound *= longest;
    return out;
}

// The stack of −A above C, (n + p) × n, column-major, for elimination.
std::vector<double> Stack(const Matrix2D<double>& A, const Matrix2D<double>* C) {
    const int n = A.Size(0), p = C ? C->Size(0) : 0;
    std::vector<double> stack(Index(n + p) * Index(n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) stack[Index(j) * Index(n + p) + Index(i)] = -A(i, j);
    for (int i = 0; i < p; ++i)
        for (int j = 0; j < n; ++j) stack[Index(j) * Index(n + p) + Index(n + i)] = (*C)(i, j);
    return stack;
}

std::vector<double> RowMajor(const Matrix2D<double>& m) {
    std::vector<double> numbers;
    numbers.reserve(Index(m.Size(0)) * Index(m.Size(1)));
    for (int i = 0; i < m.Size(0); ++i)
        numbers.insert(numbers.end(), m.Row(i).Data(), m.Row(i).Data() + m.Size(1));
    return numbers;
}

// Answers to the frequencies of a list by the reduced road, and its judgement on them.
class ReducedAnswers {
  public:
    ReducedAnswers(const StateSpaceSweep::Matrices& model, const ReducedStateMatrix& reduced,
                   bool transposed, const SweepKernels& kernels, const Matrix1D<double>& w,
                   const std::vector<int>& list, Matrix3D<Complex>& result)
        : reduced_(reduced),
          kernels_(kernels),
          w_(w),
          list_(list),
          result_(result),
          connected_(Connections(model)) {
        const auto& [A, B, C, D, wanted] = model;
        const Matrix2D<double> inputs = transposed ? Transposed(*C) : B;
        const Matrix2D<double> outputs = !C           ? Matrix2D<double>()
                                         : transposed ? Transposed(B)
                                                      : *C;
        const int n = A.Size(0), p = C ? outputs.Size(0) : n;
        problem_ = {n,
                    inputs.Size(1),
                    p,
                    p,
                    reduced.Stack(C ? &outputs : nullptr),
                    reduced.Inputs(inputs),
                    D,
                    transposed};
        bounds_ = ErrorBounds(reduced.Scale(), inputs, C ? &outputs : nullptr, transposed);
        distances_ = Solve(problem_, kernels.reduced, w, list, result);
        ClearUnconnected();
        FindNearlySingular();
        FindLargest();
    }

    /// Flags those that are certain and returns the others.
    std::vector<int> Judge(std::vector<char>& sure) {
        const double weight = ErrorWeight();
        std::vector<std::size_t> sensitive;  // their places in the list
        for (std::size_t l = 0; l < list_.size(); ++l) {
            if (nearlySingular_[l]) continue;
            if (weight * Amplification(l) <= kTolerance)
                sure[Index(list_[l])] = 1;
            else
                sensitive.push_back(l);
        }
        Refine(Measure(sensitive, weight, sure), sure);
        std::vector<int> others;
        for (const int k : list_)
            if (!sure[Index(k)]) others.push_back(k);
        return others;
    }

  private:
    const ReducedStateMatrix& reduced_;
    const SweepKernels& kernels_;
    const Matrix1D<double>& w_;
    const std::vector<int>& list_;
    Matrix3D<Complex>& result_;
    std::vector<char> connected_;
    Problem problem_{};
    std::vector<double> bounds_;   // of the errors in each row, to be amplified
    std::vector<double> largest_;  // magnitude in each row; only where it stands out of that
    std::vector<double> distances_;
    std::vector<char> nearlySingular_;  // the frequencies of the list

    bool IsConnected(int i, int j) const {
        return connected_[Index(i) * Index(result_.Size(2)) + Index(j)] != 0;
    }

    // ‖M‖, at most.
    double Norm(std::size_t l) const { return reduced_.Norm() + std::fabs(w_(list_[l])); }

    // u·‖|M|‖·‖M⁻¹‖, by which a rounding of each element of M comes into the solution.
    double Sensitivity(std::size_t l) const {
        const double norm = reduced_.NormOfMagnitudes() + std::fabs(w_(list_[l]));
        return kRounding * norm / distances_[l];
    }
    // The same into the answer, but for the factors of its bound.
    double Amplification(std::size_t l) const { return Sensitivity(l) / distances_[l]; }

    // Or where something is not finite.
    void FindNearlySingular() {
        const auto [least, most] =
            std::minmax_element(reduced_.Scale().begin(), reduced_.Scale().end());
        const double absolute = kSureAbsolute * std::sqrt(problem_.n) * *most / *least;
        nearlySingular_.resize(list_.size());
        for (std::size_t l = 0; l < list_.size(); ++l)
            nearlySingular_[l] = distances_[l] >= std::max(kSureReduced * Norm(l), absolute) &&
                                         IsFinite(result_.Slot(list_[l]))
                                     ? 0
                                     : 1;
    }

    void ClearUnconnected() {
        if (std::all_of(connected_.begin(), connected_.end(), [](char c) { return c != 0; }))
            return;
        for (const int k : list_)
            for (int i = 0; i < result_.Size(1); ++i)
                for (int j = 0; j < result_.Size(2); ++j)
                    if (!IsConnected(i, j)) result_(k, i, j) = Feedthrough(i, j);
    }
    double Feedthrough(int i, int j) const { return problem_.D ? (*problem_.D)(i, j) : 0.0; }

    void FindLargest() {
        largest_.assign(bounds_.size(), 0.0);
        for (std::size_t l = 0; l < list_.size(); ++l) {
            if (nearlySingular_[l]) continue;
            for (int i = 0; i < result_.Size(1); ++i) {
                const Complex* const row = result_.Slot(list_[l]).Row(i).Data();
                const double noise = kStandsOut * Amplification(l) * bounds_[Index(i)];
                double& largest = largest_[Index(i)];
                double known = std::max(largest, noise);
                for (int j = 0; j < result_.Size(2); ++j) {
                    // No magnitude is more than √2 times its larger part.
                    if (std::max(std::fabs(row[j].real()), std::fabs(row[j].imag())) <
                        0.7 * known)
                        continue;
                    const double magnitude = std::abs(row[j]);
                    if (magnitude > known) known = largest = magnitude;
                }
            }
        }
    }

    // The bound of all errors relative to their rows, to be amplified.
    double ErrorWeight() const {
        double weight = 0.0;
        for (int i = 0; i < result_.Size(1); ++i)
            for (int j = 0; j < result_.Size(2); ++j)
                if (IsConnected(i, j))
                    weight = std::max(weight, bounds_[Index(i)] / largest_[Index(i)]);
        return weight;
    }

    // Some frequencies of the list by themselves, with room for answers.
    struct Selection {
        Matrix1D<double> w;
        std::vector<int> all;
        Matrix3D<Complex> answers;
    };
    Selection Select(const std::vector<std::size_t>& places) const {
        const int count = static_cast<int>(places.size());
        Selection some{Matrix1D<double>(count),
                       std::vector<int>(places.size()),
                       {count, result_.Size(1), result_.Size(2)}};
        for (int t = 0; t < count; ++t) {
            some.w(t) = w_(list_[places[Index(t)]]);
            some.all[Index(t)] = t;
        }
        return some;
    }

    // Flags those of the frequencies at these places in the list that slight changes of H do
    // not move and returns the others.
    std::vector<std::size_t> Measure(std::vector<std::size_t> places, double weight,
                                     std::vector<char>& sure) const {
        std::vector<std::size_t> moved;
        for (const bool first : {true, false}) {
            if (places.empty()) break;
            Selection some = Select(places);
            Solve(Changed(first ? 1 : 2), kernels_.reduced, some.w, some.all, some.answers);
            std::vector<std::size_t> doubtful;
            for (const int t : some.all) {
                const std::size_t l = places[Index(t)];
                if (!Agree(result_.Slot(list_[l]), some.answers.Slot(t), kTolerance))
                    moved.push_back(l);
                else if (first && weight * Amplification(l) > kDoubtful * kTolerance)
                    doubtful.push_back(l);
                else
                    sure[Index(list_[l])] = 1;
            }
            places = std::move(doubtful);
        }
        return moved;
    }

    // Answers the frequencies at these places in the list once more and flags those that are
    // certain then. Where none of a chunk is, it is the errors of Q that count.
    void Refine(const std::vector<std::size_t>& places, std::vector<char>& sure) {
        if (places.empty() || problem_.m * kWorthRefining > problem_.n) return;
        const Problem changed = Changed(1);
        const auto lanes = static_cast<std::ptrdiff_t>(kernels_.refined.lanes);
        for (auto from = places.begin(); from != places.end();) {
            const auto to = from + std::min(lanes, places.end() - from);
            if (!RefineChunk(changed, {from, to}, sure)) return;
            from = to;
        }
    }
    bool RefineChunk(const Problem& changed, const std::vector<std::size_t>& places,
                     std::vector<char>& sure) {
        double left = 0.0;
        for (const std::size_t l : places) left = std::max(left, kLeft * Sensitivity(l));
        Selection some = Select(places);
        Matrix3D<Complex> other = some.answers;
        const Refinement refinement{reduced_.Low(), reduced_.LowStride(), kNothing / left,
                                    changed, other};
        const std::vector<double> moved =
            Solve(problem_, kernels_.refined, some.w, some.all, some.answers, &refinement);
        const double weight = ErrorWeight();
        bool any = false;
        for (const int t : some.all) {
            const std::size_t l = places[Index(t)];
            const double error = kLeft * Sensitivity(l) * moved[Index(t)] / distances_[l];
            const Matrix2D<Complex>& answer = some.answers.Slot(t);
            if (!(weight * error <= kTolerance) ||
                !Agree(answer, other.Slot(t), kMultiple * kTolerance))
                continue;
            any = true;
            sure[Index(list_[l])] = 1;
            Matrix2D<Complex>& slot = result_.Slot(list_[l]);
            for (int i = 0; i < slot.Size(0); ++i)
                for (int j = 0; j < slot.Size(1); ++j)
                    if (IsConnected(i, j)) slot(i, j) = answer(i, j);
        }
        return any;
    }

    Problem Changed(std::uint64_t seed) const {
        const std::size_t n = Index(problem_.n), m = Index(problem_.m), p = Index(problem_.p),
                          ld = n + p;
        Problem changed = problem_;
        std::uint64_t state = seed, signs = 0;
        int left = 0;
        const auto change = [&](double& x, double size) {
            if (left-- == 0) {
                state += 0x9e3779b97f4a7c15u;  // Steele, Lea & Flood, OOPSLA 2014: SplitMix
                signs = (state ^ state >> 30) * 0xbf58476d1ce4e5b9u;
                signs = (signs ^ signs >> 27) * 0x94d049bb133111ebu;
                left = 63;
            }
            x += signs & 1 ? size : -size;
            signs >>= 1;
        };
        std::vector<double> sizes(p);
        for (std::size_t i = 0; i < p; ++i)
            sizes[i] = kChangeOfQ * Length(problem_.n, [&](int j) {
                           return problem_.a[Index(j) * ld + n + i];
                       });
        for (std::size_t j = 0; j < n; ++j) {
            double* const column = changed.a.data() + j * ld;
            for (std::size_t i = 0; i < std::min(j + 2, n); ++i)
                change(column[i], kChange * column[i]);
            for (std::size_t i = 0; i < p; ++i) change(column[n + i], sizes[i]);
        }
        for (std::size_t j = 0; j < m; ++j) {
            const double size = kChangeOfQ * Length(problem_.n, [&](int i) {
                                    return problem_.b[Index(i) * m + j];
                                });
            for (std::size_t i = 0; i < n; ++i) change(changed.b[i * m + j], size);
        }
        return changed;
    }

    bool Agree(const Matrix2D<Complex>& H, const Matrix2D<Complex>& other,
               double tolerance) const {
        for (int i = 0; i < H.Size(0); ++i)
            for (int j = 0; j < H.Size(1); ++j)
                if (IsConnected(i, j) &&
                    !(std::abs(H(i, j) - other(i, j)) <= tolerance * largest_[Index(i)]))
                    return false;
        return true;
    }
};

// √(‖H‖₁·‖H‖∞), which ‖|H|‖₂ does not exceed, of n × n, column-major.
double BoundOfMagnitudes(int n, std::size_t ld, const double* h) {
    std::vector<double> rows(Index(n));
    double longest = 0.0;
    for (int j = 0; j < n; ++j) {
        double column = 0.0;
        for (int i = 0; i < n; ++i) {
            const double magnitude = std::fabs(h[Index(j) * ld + Index(i)]);
            column += magnitude;
            rows[Index(i)] += magnitude;
        }
        longest = std::max(longest, column);
    }
    return std::sqrt(longest * *std::max_element(rows.begin(), rows.end()));
}

}  // namespace

ReducedStateMatrix::ReducedStateMatrix(const SweepKernels& kernels, const Matrix2D<double>& A,
                                       const Matrix1D<double>& b)
    : n_(A.Size(0)),
      ld_((Index(n_) + 3) / 4 * 4),
      h_(2 * ld_ * Index(n_)),
      basis_(ld_ * Index(n_)) {
    Matrix2D<double> balanced = A;
    scale_ = Balance(balanced);
    std::vector<double> first(ld_), work(5 * ld_);
    for (int i = 0; i < n_; ++i) {
        first[Index(i)] = b(i) / scale_[Index(i)];
        basis_[Index(i) * ld_ + Index(i)] = scale_[Index(i)];
        for (int j = 0; j < n_; ++j) {
            h_[Index(j) * ld_ + Index(i)] = balanced(i, j);
            norm_ += balanced(i, j) * balanced(i, j);
        }
    }
    norm_ = std::sqrt(norm_);
    kernels.reduce(n_, static_cast<int>(ld_), h_.data(), first.data(), basis_.data(),
                   work.data());
    normOfMagnitudes_ = std::min(norm_, BoundOfMagnitudes(n_, ld_, h_.data()));
}

std::vector<double> ReducedStateMatrix::Stack(const Matrix2D<double>* C) const {
    const int p = C ? C->Size(0) : n_;
    std::vector<double> stack(Index(n_ + p) * Index(n_));
    for (int j = 0; j < n_; ++j) {
        double* const column = stack.data() + Index(j) * Index(n_ + p);
        const double* const basis = basis_.data() + Index(j) * ld_;
        for (int i = 0; i < n_; ++i) column[i] = -h_[Index(j) * ld_ + Index(i)];
        if (!C) std::copy_n(basis, n_, column + n_);
        for (int i = 0; C && i < p; ++i) {
            const double* const row = C->Row(i).Data();
            double sum = 0.0;
            for (int k = 0; k < n_; ++k) sum += row[k] * basis[k];
            column[n_ + i] = sum;
        }
    }
    return stack;
}

std::vector<double> ReducedStateMatrix::Inputs(const Matrix2D<double>& B) const {
    const int m = B.Size(1);
    std::vector<double> inputs(Index(n_) * Index(m)), dual(Index(n_));
    for (int i = 0; i < n_; ++i) {
        for (int k = 0; k < n_; ++k)
            dual[Index(k)] =
                basis_[Index(i) * ld_ + Index(k)] / (scale_[Index(k)] * scale_[Index(k)]);
        // By construction the first input is a multiple of the first unit vector.
        for (int k = 0; k < n_; ++k)
            for (int j = i > 0 ? 1 : 0; j < m; ++j)
                inputs[Index(i) * Index(m) + Index(j)] += dual[Index(k)] * B(k, j);
    }
    return inputs;
}

std::vector<char> StateSpaceSweep::Run(const Matrices& model, const Matrix1D<double>& w,
                                       Matrix3D<Complex>& result) {
    const auto& [A, B, C, D, wanted] = model;
    const int n = A.Size(0), nf = w.Size(0);
    std::vector<char> sure(Index(nf), 0);
    const bool pays = road_ != SweepRoad::kFast || 1.0 * nf * n * n * n >= kWorthPreparing;
    if (road_ == SweepRoad::kWritten || !pays || n == 0 || B.Size(1) == 0 ||
        (C && C->Size(0) == 0) || !IsInRange(A) || !IsInRange(B) || (C && !IsInRange(*C)))
        return sure;

    std::vector<int> list;
    list.reserve(Index(nf));
    for (int k = 0; k < nf; ++k)
        if (IsInRange(w(k))) list.push_back(k);
    asked_ = std::min(asked_ + std::min(nf, kWorthReducing), kWorthReducing);
    const bool reduces =
        nf >= kWorthReducing ||
        (asked_ == kWorthReducing && 1.0 * nf * n >= 1.0 * kWorthReducing * B.Size(1));
    if (road_ == SweepRoad::kReduced || (road_ == SweepRoad::kFast && reduces)) {
        // Hᵀ = Bᵀ·(j·w·I − Aᵀ)⁻¹·Cᵀ has fewer right-hand sides when there are fewer outputs.
        const bool transposed = C && C->Size(0) < B.Size(1);
        list = ReducedAnswers(model, Reduced(model, transposed), transposed, *kernels_, w, list,
                              result)
                   .Judge(sure);
    }
    if (road_ == SweepRoad::kReduced || list.empty()) return sure;
    // The inverse is faster for one: lanes without a frequency cost as much as the others.
    if (road_ == SweepRoad::kFast && nf == 1) return sure;

    const Problem problem{
        n, B.Size(1), C ? C->Size(0) : 0, C ? C->Size(0) : n, Stack(A, C), RowMajor(B),
        D, false};
    const std::vector<double> distances = Solve(problem, kernels_->dense, w, list, result);
    for (std::size_t l = 0; l < list.size(); ++l)
        if (distances[l] >= kSureDense && IsFinite(result.Slot(list[l])))
            sure[Index(list[l])] = 1;
    return sure;
}

const ReducedStateMatrix& StateSpaceSweep::Reduced(const Matrices& model, bool transposed) {
    auto& reduced = transposed ? transposed_ : reduced_;
    if (!reduced)
        reduced = transposed ? std::make_shared<ReducedStateMatrix>(
                                   *kernels_, Transposed(model.A), model.C->Row(0))
                             : std::make_shared<ReducedStateMatrix>(*kernels_, model.A,
                                                                    model.B.Column(0));
    return *reduced;
}

}  // namespace ZEMRA::Vibration
