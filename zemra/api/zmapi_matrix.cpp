#include "zemra/api/zmapi_matrix.h"

#include <string>

#include "zemra/matrix/products.h"
#include "zemra/message/message.h"

using ZEMRA::Vibration::Error;
using ZEMRA::Vibration::Matrix;
using ZEMRA::Vibration::Matrix1D;
using ZEMRA::Vibration::Matrix2D;
using ZEMRA::Vibration::Matrix3D;
using ZEMRA::Vibration::MatrixSparse1D;
using ZEMRA::Vibration::MatrixSparse2D;

namespace {

using StdComplex = ZEMRA::Vibration::Complex;

constexpr char kUnknownType[] = "Unknown Matrix Type: ";

const double& CoreValue(const double& x) { return x; }
const float& CoreValue(const float& x) { return x; }
const StdComplex& CoreValue(const ZmAPI_Complex& z) { return z.GetComplex(); }

template <typename Host>
using Core = std::decay_t<decltype(CoreValue(std::declval<Host>()))>;

// Whether an array of these extents can be read. Extents with a zero among them need none.
template <typename Host, typename... Extents>
bool Readable(const Host* a, Extents... extents) {
    return ((extents >= 0) && ...) && (a || ((extents == 0) || ...));
}

std::size_t Extent(int n) { return static_cast<std::size_t>(n); }

template <typename Host>
std::unique_ptr<Matrix> Vector(int n, const Host* a) {
    auto result = std::make_unique<Matrix1D<Core<Host>>>(Readable(a, n) ? n : 0);
    for (int i = 0; i < result->Size(0); ++i) (*result)(i) = CoreValue(a[i]);
    return result;
}

template <typename Host>
void FillColumnMajor(Matrix2D<Core<Host>>& m, const Host* a) {
    const std::size_t nrows = Extent(m.Size(0));
    for (int i = 0; i < m.Size(0); ++i)
        for (int j = 0; j < m.Size(1); ++j)
            m(i, j) = CoreValue(a[Extent(i) + Extent(j) * nrows]);
}

template <typename Host>
std::unique_ptr<Matrix> ColumnMajor(int nrows, int ncols, const Host* a) {
    using M = Matrix2D<Core<Host>>;
    if (!Readable(a, nrows, ncols)) return std::make_unique<M>();
    auto result = std::make_unique<M>(nrows, ncols);
    FillColumnMajor(*result, a);
    return result;
}

template <typename Host>
std::unique_ptr<Matrix> RowMajor(const Host* a, int nrows, int ncols) {
    using M = Matrix2D<Core<Host>>;
    if (!Readable(a, nrows, ncols)) return std::make_unique<M>();
    auto result = std::make_unique<M>(nrows, ncols);
    for (int i = 0; i < nrows; ++i)
        for (int j = 0; j < ncols; ++j)
            (*result)(i, j) = CoreValue(a[Extent(i) * Extent(ncols) + Extent(j)]);
    return result;
}

template <typename Host>
std::unique_ptr<Matrix> Stack(int nslots, int nrows, int ncols, const Host* a) {
    using M = Matrix3D<Core<Host>>;
    if (!Readable(a, nslots, nrows, ncols)) return std::make_unique<M>();
    auto result = std::make_unique<M>(nslots, nrows, ncols);
    for (int k = 0; k < nslots; ++k)
        FillColumnMajor(result->Slot(k), a + Extent(k) * Extent(nrows) * Extent(ncols));
    return result;
}

bool Inside(int index, int extent) { return index >= 0 && index < extent; }

bool Inside(const Matrix& m, int row) { return Inside(row, m.Size(0)); }
bool Inside(const Matrix& m, int row, int col) {
    return Inside(row, m.Size(0)) && Inside(col, m.Size(1));
}
bool Inside(const Matrix& m, int slot, int row, int col) {
    return Inside(row, m.Size(1)) && Inside(col, m.Size(2)) && Inside(slot, m.Size(0));
}

// The signature and what an index may be out of, as the messages of one access name them.
struct Access {
    const char* method;     // "Value" or "ValueC"
    const char* arguments;  // "const int row, …"
    const char* indices;    // "Row or Column"
};

void PrintUnknownType(const Access& access) {
    Error(kUnknownType + std::string(access.method) + " (" + access.arguments + ") const")
        .Print();
}

void PrintOutOfRange(const Access& access) {
    Error("ZmAPI_Matrix::" + std::string(access.method) + "(" + access.arguments +
          "): " + access.indices + " out of range.")
        .Print();
}

constexpr char kRow[] = "const int row";
constexpr char kRowCol[] = "const int row, const int col";
constexpr char kSlotRowCol[] = "const int slot, const int row, const int col";

// Reads one element, trying the Kinds in order; 0 with a message when none fits or an index
// is out of range.
template <typename Result, typename... Kinds, typename... Indices>
Result Element(const Matrix* matrix, const Access& access, Indices... index) {
    if (!matrix) return Result{};
    Result value{};
    bool known = false;
    const auto tryKind = [&](const auto* m) {
        if (!m) return false;
        known = true;
        if (Inside(*m, index...))
            value = Result((*m)(index...));
        else
            PrintOutOfRange(access);
        return true;
    };
    (void)(tryKind(dynamic_cast<const Kinds*>(matrix)) || ...);
    if (!known) PrintUnknownType(access);
    return value;
}

// y = m·x through core vectors, so that y may be x.
template <typename M, typename Host>
void Multiply(const M& m, Host* y, const Host* x, const auto& toHost) {
    Matrix1D<Core<Host>> operand(m.Size(1));
    for (int j = 0; j < operand.Size(0); ++j) operand(j) = CoreValue(x[j]);
    const auto product = m * operand;
    for (int i = 0; i < product.Size(0); ++i) y[i] = toHost(product(i));
}

}  // namespace

ZmAPI_Matrix::ZmAPI_Matrix(int n, const float* a) : matrix_(Vector(n, a)) {}
ZmAPI_Matrix::ZmAPI_Matrix(int n, const double* a) : matrix_(Vector(n, a)) {}
ZmAPI_Matrix::ZmAPI_Matrix(int n, const ZmAPI_Complex* a) : matrix_(Vector(n, a)) {}
ZmAPI_Matrix::ZmAPI_Matrix(int nrows, int ncols, const double* a)
    : matrix_(ColumnMajor(nrows, ncols, a)) {}
ZmAPI_Matrix::ZmAPI_Matrix(int nrows, int ncols, const ZmAPI_Complex* a)
    : matrix_(ColumnMajor(nrows, ncols, a)) {}
ZmAPI_Matrix::ZmAPI_Matrix(const double* a, int nrows, int ncols)
    : matrix_(RowMajor(a, nrows, ncols)) {}
ZmAPI_Matrix::ZmAPI_Matrix(const ZmAPI_Complex* a, int nrows, int ncols)
    : matrix_(RowMajor(a, nrows, ncols)) {}
ZmAPI_Matrix::ZmAPI_Matrix(int nslots, int nrows, int ncols, const double* a)
    : matrix_(Stack(nslots, nrows, ncols, a)) {}
ZmAPI_Matrix::ZmAPI_Matrix(int nslots, int nrows, int ncols, const ZmAPI_Complex* a)
    : matrix_(Stack(nslots, nrows, ncols, a)) {}
ZmAPI_Matrix::ZmAPI_Matrix(const Matrix& m) : matrix_(m.Copy()) {}

ZmAPI_Matrix::ZmAPI_Matrix(const ZmAPI_Matrix& other)
    : ZmAPI(other), matrix_(other.matrix_ ? other.matrix_->Copy() : nullptr) {}
ZmAPI_Matrix::ZmAPI_Matrix(ZmAPI_Matrix&& other) noexcept = default;
ZmAPI_Matrix& ZmAPI_Matrix::operator=(const ZmAPI_Matrix& other) {
    if (this != &other) *this = ZmAPI_Matrix(other);
    return *this;
}
ZmAPI_Matrix& ZmAPI_Matrix::operator=(ZmAPI_Matrix&& other) noexcept = default;
ZmAPI_Matrix::~ZmAPI_Matrix() = default;

int ZmAPI_Matrix::Size(int dim) const { return matrix_ ? matrix_->Size(dim) : 0; }

bool ZmAPI_Matrix::Real() const {
    const Matrix* const m = matrix_.get();
    return dynamic_cast<const Matrix1D<double>*>(m) ||
           dynamic_cast<const Matrix2D<double>*>(m) || dynamic_cast<const Matrix3D<double>*>(m);
}

bool ZmAPI_Matrix::Complex() const {
    const Matrix* const m = matrix_.get();
    return dynamic_cast<const Matrix1D<StdComplex>*>(m) ||
           dynamic_cast<const Matrix2D<StdComplex>*>(m) ||
           dynamic_cast<const Matrix3D<StdComplex>*>(m);
}

const Matrix& ZmAPI_Matrix::GetMatrix() const {
    static const Matrix1D<int> empty;  // a kind that no query takes
    const Matrix* const m = matrix_.get();
    return m ? *m : empty;
}

double ZmAPI_Matrix::Value(int row) const {
    return Element<double, Matrix1D<float>, Matrix1D<double>, MatrixSparse1D<double>>(
        matrix_.get(), {"Value", kRow, "Row"}, row);
}

double ZmAPI_Matrix::Value(int row, int col) const {
    return Element<double, Matrix2D<double>, MatrixSparse2D<double>>(
        matrix_.get(), {"Value", kRowCol, "Row or Column"}, row, col);
}

double ZmAPI_Matrix::Value(int slot, int row, int col) const {
    return Element<double, Matrix3D<double>>(
        matrix_.get(), {"Value", kSlotRowCol, "Row, Column, or Slot"}, slot, row, col);
}

ZmAPI_Complex ZmAPI_Matrix::ValueC(int row) const {
    return ZmAPI_Complex(Element<StdComplex, Matrix1D<StdComplex>, Matrix1D<double>>(
        matrix_.get(), {"ValueC", kRow, "Row"}, row));
}

ZmAPI_Complex ZmAPI_Matrix::ValueC(int row, int col) const {
    return ZmAPI_Complex(Element<StdComplex, Matrix2D<StdComplex>, Matrix2D<double>>(
        matrix_.get(), {"ValueC", kRowCol, "Row or Column"}, row, col));
}

ZmAPI_Complex ZmAPI_Matrix::ValueC(int slot, int row, int col) const {
    return ZmAPI_Complex(Element<StdComplex, Matrix3D<StdComplex>, Matrix3D<double>>(
        matrix_.get(), {"ValueC", kSlotRowCol, "Row, Column, or Slot"}, slot, row, col));
}

void ZmAPI_Matrix::MultMv(double* y, const double* x) const {
    if (!matrix_ || !y || !x) return;
    if (const auto* m = dynamic_cast<const Matrix2D<double>*>(matrix_.get()))
        Multiply(*m, y, x, [](double v) { return v; });
    else
        Error(kUnknownType + std::string("MultMv")).Print();
}

void ZmAPI_Matrix::MultMv(ZmAPI_Complex* y, const ZmAPI_Complex* x) const {
    if (!matrix_ || !y || !x) return;
    const auto toHost = [](const StdComplex& v) { return ZmAPI_Complex(v); };
    if (const auto* m = dynamic_cast<const Matrix2D<StdComplex>*>(matrix_.get()))
        Multiply(*m, y, x, toHost);
    else if (const auto* real = dynamic_cast<const Matrix2D<double>*>(matrix_.get()))
        Multiply(*real, y, x, toHost);
    else
        Error(kUnknownType + std::string("MultMv")).Print();
}
