#pragma once

#include <memory>

#include "zemra/api/zmapi_complex.h"

namespace ZEMRA {
namespace Vibration {
class Matrix;
}
}  // namespace ZEMRA

/// An owning handle to a vector, a matrix or a stack of matrices, real or complex.
///
/// Host arrays are copied. The constructors that take the sizes first read the array
/// column-major (row index fastest, slots last); those that take the array first read it
/// row-major. A negative size, or a null array where elements should be read, makes an empty
/// container of that kind. Every element access checks kind and index: a failure is printed
/// as an error and answered with 0. A handle whose content has been moved away answers 0 and
/// false without a message.
class ZM_API ZmAPI_Matrix : public ZmAPI {
  public:
    /// Vector of n elements.
    ZmAPI_Matrix(int n, const float* a);
    ZmAPI_Matrix(int n, const double* a);
    ZmAPI_Matrix(int n, const ZmAPI_Complex* a);
    /// Matrix, column-major: element (i, j) is a[i + j·nrows].
    ZmAPI_Matrix(int nrows, int ncols, const double* a);
    ZmAPI_Matrix(int nrows, int ncols, const ZmAPI_Complex* a);
    /// Matrix, row-major: element (i, j) is a[i·ncols + j].
    ZmAPI_Matrix(const double* a, int nrows, int ncols);
    ZmAPI_Matrix(const ZmAPI_Complex* a, int nrows, int ncols);
    /// Stack, each slot column-major: element (k, i, j) is a[(k·ncols + j)·nrows + i].
    ZmAPI_Matrix(int nslots, int nrows, int ncols, const double* a);
    ZmAPI_Matrix(int nslots, int nrows, int ncols, const ZmAPI_Complex* a);
    /// A copy of a core container.
    explicit ZmAPI_Matrix(const ZEMRA::Vibration::Matrix& m);

    ZmAPI_Matrix(const ZmAPI_Matrix& other);
    ZmAPI_Matrix(ZmAPI_Matrix&& other) noexcept;
    ZmAPI_Matrix& operator=(const ZmAPI_Matrix& other);
    ZmAPI_Matrix& operator=(ZmAPI_Matrix&& other) noexcept;
    ~ZmAPI_Matrix() override;

    /// Vector: n. Matrix: rows, columns. Stack: slots, rows, columns. Else 0.
    int Size(int dim) const;
    /// Whether this is a dense container of double, or of complex, values.
    bool Real() const;
    bool Complex() const;
    /// The core container; for a handle without one, an empty container that no query takes.
    const ZEMRA::Vibration::Matrix& GetMatrix() const;

    /// Elements of real containers, sparse ones included. Errors, answered with 0.0:
    /// "Unknown Matrix Type: Value (const int row) const",
    /// "ZmAPI_Matrix::Value(const int row): Row out of range." and the like.
    double Value(int row) const;
    double Value(int row, int col) const;
    double Value(int slot, int row, int col) const;

    /// Elements of complex or real dense containers. Errors, answered with 0 + 0i:
    /// "Unknown Matrix Type: ValueC (const int row) const",
    /// "ZmAPI_Matrix::ValueC(const int row): Row out of range." and the like.
    ZmAPI_Complex ValueC(int row) const;
    ZmAPI_Complex ValueC(int row, int col) const;
    ZmAPI_Complex ValueC(int slot, int row, int col) const;

    /// y = matrix times x, with y of as many elements as the matrix has rows and x of as many
    /// as it has columns. The complex form takes a real matrix too. For any other container
    /// the error "Unknown Matrix Type: MultMv" is printed; then, and when x or y is null, y
    /// stays as it is.
    void MultMv(double* y, const double* x) const;
    void MultMv(ZmAPI_Complex* y, const ZmAPI_Complex* x) const;

  private:
    std::unique_ptr<ZEMRA::Vibration::Matrix> matrix_;
};
