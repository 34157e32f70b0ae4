#pragma once

#include "zemra/matrix/matrix.h"
#include "zemra/message/message.h"

namespace ZEMRA::Vibration {

/// What every holder of the matrices of ẋ = A·x + B·u, y = C·x + D·u asks of them.

/// Throws Error "ABCD Matrix size error.\n  The number of rows and columns of ABCD must
/// match.\n   A: %d x %d\n   B: %d x %d\n   C: %d x %d\n   D: %d x %d " unless A is n × n,
/// B n × m, C p × n and D p × m. Dense and sparse matrices alike.
void CheckABCDSizes(const Matrix& A, const Matrix& B, const Matrix& C, const Matrix& D);

/// That size Error for A of n × n, to be thrown.
Error ABCDSizeError(int n, const Matrix& B, const Matrix& C, const Matrix& D);

/// The Error "Invalid matrix option [%c] must be A, B, C, or D.", to be thrown.
Error BadMatrixLetter(char which);

}  // namespace ZEMRA::Vibration
