#include "zemra/system/abcd.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kSizeError[] =
    "ABCD Matrix size error.\n  The number of rows and columns of ABCD must match.\n   A: %d x "
    "%d\n   B: %d x %d\n   C: %d x %d\n   D: %d x %d ";
constexpr char kBadMatrix[] = "Invalid matrix option [%c] must be A, B, C, or D.";

Error SizeError(int rows, int columns, const Matrix& B, const Matrix& C, const Matrix& D) {
    return Error(kSizeError) << rows << columns << B.Size(0) << B.Size(1) << C.Size(0)
                             << C.Size(1) << D.Size(0) << D.Size(1);
}

}  // namespace

void CheckABCDSizes(const Matrix& A, const Matrix& B, const Matrix& C, const Matrix& D) {
    const bool fit = A.Size(0) == A.Size(1) && B.Size(0) == A.Size(0) &&
                     C.Size(1) == A.Size(1) && D.Size(0) == C.Size(0) && D.Size(1) == B.Size(1);
    if (!fit) throw SizeError(A.Size(0), A.Size(1), B, C, D);
}

Error ABCDSizeError(int n, const Matrix& B, const Matrix& C, const Matrix& D) {
    return SizeError(n, n, B, C, D);
}

Error BadMatrixLetter(char which) { return Error(kBadMatrix) << which; }

}  // namespace ZEMRA::Vibration
