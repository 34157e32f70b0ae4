#include "zemra/system/canon.h"

#include <cmath>
#include <utility>
#include <vector>

#include "zemra/matrix/kernels.h"
#include "zemra/matrix/products.h"
#include "zemra/message/message.h"
#include "zemra/solver/matrix_inverse.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kModelSizes[] =
    "The state matrix and eigen vector matrix are not of compatable sizes.\n   A: %d x %d\n   "
    "B: %d x %d\n   C: %d x %d\n   D: %d x %d";
constexpr char kTransformSizes[] =
    "The state matrix and eigen vector matrix are not of compatable sizes.\n   T: %d x %d\n   "
    "B: %d x %d\n   C: %d x %d\n   Z: %d x %d";
constexpr char kSingular[] =
    "Warning: The eigen vector transformation matrix is singular.\n         Modal space "
    "reduction not possible.\n ABCD matrix can be use as is.\n          Vibration results will "
    "be limited to response and transfer function. Check model for zero stiffness or other "
    "cause of degenerate modes.";
constexpr char kNearlyDependent[] =
    "The eigenvectors of the model are nearly dependent (condition number %.1e).\n   Results "
    "in modal form may be wrong in every digit. Use the state-space form of this model.";
constexpr char kNoEigenvectors[] =
    "The eigenvectors are not those of the state matrix (relative residual %.1e).\n   Results "
    "in modal form may be wrong in every digit. Use the state-space form of this model.";

// Beyond this condition number of the eigenvectors a modal answer keeps few digits, if any.
constexpr double kLargestCondition = 1e12;
// A residual of an eigenpair, relative to the norms of A and of its vector, that no rounding
// explains.
constexpr double kLargestResidual = 1e-6;

// A mode that is kept: its first eigenvalue and its first state in the result.
struct KeptMode {
    int eigenvalue;
    int state;
    bool pair;
};

std::vector<KeptMode> Keep(int nModes, const int* modes, const EigenProblem& eigen) {
    const bool all = nModes < 1 || !modes;
    std::vector<KeptMode> kept;
    kept.reserve(static_cast<std::size_t>(eigen.Eigenvalues()));
    int state = 0;
    for (int i = 0, mode = 0; i < eigen.Eigenvalues(); ++mode) {
        const bool pair = eigen.Eigenvalue(i).imag() != 0.0 && i + 1 < eigen.Eigenvalues();
        const int size = pair ? 2 : 1;
        const auto found = static_cast<int>(kept.size());
        if (all || (found < nModes && modes[found] == mode)) {
            kept.push_back({i, state, pair});
            state += size;
        }
        i += size;
    }
    return kept;
}

int States(const std::vector<KeptMode>& kept) {
    return kept.empty() ? 0 : kept.back().state + (kept.back().pair ? 2 : 1);
}

class Triplets {
  public:
    explicit Triplets(int size) : size_(size) {
        const auto most = 3 * static_cast<std::size_t>(size);
        rows_.reserve(most);
        columns_.reserve(most);
        values_.reserve(most);
    }
    void Add(int row, int column, double value) {
        rows_.push_back(row);
        columns_.push_back(column);
        values_.push_back(value);
    }
    MatrixSparse2D<double> ToSparse() const {
        return {size_,        size_,           static_cast<int>(values_.size()),
                rows_.data(), columns_.data(), values_.data()};
    }

  private:
    int size_;
    std::vector<int> rows_, columns_;
    std::vector<double> values_;
};

// The real canonical form of the kept eigenvalues.
MatrixSparse2D<double> CanonicalForm(const std::vector<KeptMode>& kept,
                                     const EigenProblem& eigen) {
    constexpr int kDropped = -1;
    std::vector<int> stateOf(static_cast<std::size_t>(eigen.Eigenvalues()), kDropped);
    Triplets form(States(kept));
    for (const auto& [i, r, pair] : kept) {
        stateOf[static_cast<std::size_t>(i)] = r;
        const int predecessor = stateOf[static_cast<std::size_t>(eigen.Defective(i))];
        if (predecessor != r && predecessor != kDropped) {
            form.Add(predecessor, r, 1.0);
            if (pair) form.Add(predecessor + 1, r + 1, 1.0);
        }
        const std::complex<double> lambda = eigen.Eigenvalue(i);
        form.Add(r, r, lambda.real());
        if (!pair) continue;
        form.Add(r, r + 1, -lambda.imag());
        form.Add(r + 1, r, lambda.imag());
        form.Add(r + 1, r + 1, lambda.real());
    }
    return form.ToSparse();
}

// The columns that span the kept modes: v of a real one, Re v and −Im v of a pair. With the
// other sign of the second one the real form of the pair would be transposed.
Matrix2D<double> Basis(const std::vector<KeptMode>& kept, const EigenProblem& eigen) {
    const int n = eigen.Eigenvalues();
    Matrix2D<double> T(n, States(kept));
    for (const auto& [i, column, pair] : kept) {
        for (int j = 0; j < n; ++j) {
            const std::complex<double> v = eigen.Eigenvector(i, j);
            T(j, column) = v.real();
            if (pair) T(j, column + 1) = -v.imag();
        }
    }
    return T;
}

double Norm1(const Matrix2D<double>& a) {
    double norm = 0.0;
    for (int j = 0; j < a.Size(1); ++j) {
        double sum = 0.0;
        for (int i = 0; i < a.Size(0); ++i) sum += std::fabs(a(i, j));
        if (sum > norm || std::isnan(sum)) norm = sum;
    }
    return norm;
}

// A·T − T·A′ (n × s), a chain member's predecessor being counted in also where it is not kept.
Matrix2D<double> ResidualOf(const Matrix2D<double>& A, const std::vector<KeptMode>& kept,
                            const Matrix2D<double>& T, const EigenProblem& eigen) {
    Matrix2D<double> R = A * T;
    for (const auto& [i, column, pair] : kept) {
        const std::complex<double> lambda = eigen.Eigenvalue(i);
        const int predecessor = eigen.Defective(i);
        for (int j = 0; j < R.Size(0); ++j) {
            std::complex<double> Av = lambda * eigen.Eigenvector(i, j);
            if (predecessor != i) Av += eigen.Eigenvector(predecessor, j);
            R(j, column) -= Av.real();
            if (pair) R(j, column + 1) += Av.imag();
        }
    }
    return R;
}

// The largest ‖A·v − λ·v‖₁/(‖A‖₁·‖v‖₁) of the kept modes, from the columns R for those T.
double LargestResidual(const Matrix2D<double>& A, const std::vector<KeptMode>& kept,
                       const Matrix2D<double>& T, const Matrix2D<double>& R) {
    const auto norm = [](const Matrix2D<double>& columns, const KeptMode& mode) {
        double sum = 0.0;
        for (int j = 0; j < columns.Size(0); ++j)
            sum += mode.pair ? std::hypot(columns(j, mode.state), columns(j, mode.state + 1))
                             : std::fabs(columns(j, mode.state));
        return sum;
    };
    const double normOfA = Norm1(A);
    double largest = 0.0;
    for (const KeptMode& mode : kept) {
        const double residual = norm(R, mode);
        const double relative = residual == 0.0 ? 0.0 : residual / (normOfA * norm(T, mode));
        if (relative > largest || std::isnan(relative)) largest = relative;
    }
    return largest;
}

// Warns, with the value in the text, unless it is within the limit.
bool Within(double limit, double value, const char* text) {
    if (value <= limit) return true;
    (Warning(text) << value).Print();
    return false;
}

// (TᵀT)⁻¹Tᵀ, or T⁻¹ when T is square.
Matrix2D<double> LeftInverse(const Matrix2D<double>& T) {
    if (T.Size(0) == T.Size(1)) return MatrixInverse2D<double>::Inverse(T);
    Matrix2D<double> transposed = T;
    transposed.Transpose();
    return MatrixInverse2D<double>::Inverse(transposed * T) * transposed;
}

}  // namespace

Canon::Canon(const Matrix2D<double>& A, const Matrix2D<double>& B, const Matrix2D<double>& C,
             const Matrix2D<double>& D, int nModes, const int* modes, const EigenProblem& eigen)
    : D_(D) {
    const int n = A.Size(0);
    if (A.Size(1) != n || B.Size(0) != n || C.Size(1) != n || D.Size(0) != C.Size(0) ||
        D.Size(1) != B.Size(1))
        throw Error(kModelSizes) << n << A.Size(1) << B.Size(0) << B.Size(1) << C.Size(0)
                                 << C.Size(1) << D.Size(0) << D.Size(1);
    if (!eigen.HasVectors()) eigen.Eigenvector(0, 0);  // says that it has none
    const Matrix2D<double>& V = eigen.MatrixV();
    if (V.Size(0) != n)
        throw Error(kTransformSizes) << V.Size(0) << V.Size(1) << B.Size(0) << B.Size(1)
                                     << C.Size(0) << C.Size(1) << V.Size(0) << V.Size(1);
    if (nModes < 1 || !modes)
        doCanon(A, B, C, eigen);
    else
        doModes(A, B, C, nModes, modes, eigen);
}

void Canon::doCanon(const Matrix2D<double>& A, const Matrix2D<double>& B,
                    const Matrix2D<double>& C, const EigenProblem& eigen) {
    const std::vector<KeptMode> kept = Keep(0, nullptr, eigen);
    const Matrix2D<double> T = Basis(kept, eigen);
    Matrix2D<double> Tinv;
    try {
        Tinv = eigen.MatrixZinv();
    } catch (const Error&) {
        throw Error(kSingular);
    }
    const double condition = Norm1(T) * Norm1(Tinv);
    for (const auto& [i, row, pair] : kept)
        if (pair) Scale(A.Size(0), -1.0, Tinv.Row(row + 1).Data());
    B_ = Tinv * B;
    C_ = C * T;
    A_ = CanonicalForm(kept, eigen);

    Matrix2D<double> R = ResidualOf(A, kept, T, eigen);
    if (Within(kLargestCondition, condition, kNearlyDependent))
        Within(kLargestResidual, LargestResidual(A, kept, T, R), kNoEigenvectors);
    residual_ = std::make_shared<const ModalResidual>(std::move(Tinv), std::move(R));
}

void Canon::doModes(const Matrix2D<double>& A, const Matrix2D<double>& B,
                    const Matrix2D<double>& C, int nModes, const int* modes,
                    const EigenProblem& eigen) {
    const std::vector<KeptMode> kept = Keep(nModes, modes, eigen);
    const Matrix2D<double> T = Basis(kept, eigen);
    Matrix2D<double> Tinv;
    try {
        Tinv = LeftInverse(T);
    } catch (const Error& error) {
        error.Print();
        throw Error(kSingular);
    }
    B_ = Tinv * B;
    C_ = C * T;
    A_ = CanonicalForm(kept, eigen);

    Matrix2D<double> R = ResidualOf(A, kept, T, eigen);
    Within(kLargestResidual, LargestResidual(A, kept, T, R), kNoEigenvectors);
    residual_ = std::make_shared<const ModalResidual>(std::move(Tinv), std::move(R));
}

}  // namespace ZEMRA::Vibration
