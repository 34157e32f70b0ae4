#pragma once

#include "zemra/api/zmapi_matrix.h"

/// Writes A, B, C and D as text to the file that the environment variable
/// ZEMRA_DUMP_VIBRATION_MODEL names, replacing it; nothing when the variable is unset or empty
/// or the file cannot be opened.
///
/// Each matrix is a line "AMATRIX:" to "DMATRIX:", the lines "TYPE: DENSE", "  ROWSIZE: r",
/// "  COLUMNSIZE: c", "  COLUMNORDER:", and then one value a line, four blanks ahead, column
/// by column, with 17 digits after the point: reading it back gives the same bits.
void DumpModel(const ZmAPI_Matrix& A, const ZmAPI_Matrix& B, const ZmAPI_Matrix& C,
               const ZmAPI_Matrix& D);

/// The same with A alone, the matrix of a plain eigen solution.
void DumpSystemMatrix(const ZmAPI_Matrix& A);
