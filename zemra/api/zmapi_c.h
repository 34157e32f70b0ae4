#ifndef ZEMRA_API_ZMAPI_C_H
#define ZEMRA_API_ZMAPI_C_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "zemra/message/export.h"

/* The plain entry points. They compile as C, and no exception leaves them. */

#ifdef __cplusplus
extern "C" {
#endif

/** Receives a formatted message, its type ('i' information, 'w' warning, 'e' error) and the
    library's own copy of the data pushed with the handler. */
typedef void (*ZmAPI_MessageHandler)(const char* text, unsigned char type, void* data);

/** Pushes a handler and a copy of the size bytes at data on the process-wide stack; null data
    gives it a one-byte block holding '0'. Returns the handler that was on top before, or null;
    null, with nothing pushed, when memory is short. */
ZM_API ZmAPI_MessageHandler ZmAPI_PushMessageHandler(ZmAPI_MessageHandler handler,
                                                     unsigned long long size, const void* data);

/** Removes the top handler, frees its block and returns it; null on an empty stack. */
ZM_API ZmAPI_MessageHandler ZmAPI_PopMessageHandler(void);

/** The release identifier, "2014.0.0-CL289716": a text of the library. */
ZM_API const char* vibration_build_version(void);

/** Writes to standard output how the library was built and returns the release identifier: a
    line break, one line each for the operating system, the date, the release and the options
    of each language's compiler, each after a line break, and a final line break. The lines
    begin with the mark by which the tool what(1) finds them in a binary. */
ZM_API const char* vibration_version(void);

/** Solves A x = lambda x with eigenvectors. Arrays are n x n, column-major: element (r, c) is
    at c*n + r. The order of the eigenvalues is that of ZmAPI_EigenProblem.

      a       the matrix
      wr, wi  n numbers each: real and imaginary parts, in cycles per second (those of a,
              taken as rad/s, over 2 pi)
      z       n x n: column i holds the vector of a real eigenvalue i; of a pair i, i + 1,
              columns i and i + 1 hold the real and the imaginary part of the vector of i, the
              one with the positive imaginary part
      nfound  the number of eigenvalues found: n, or 0 after a failure, which is printed

    A null wr, wi, z or nfound is skipped. With n < 1, or after a failure, nothing is written
    but nfound. A file named by the environment variable ZEMRA_DUMP_VIBRATION_MODEL receives
    the matrix first, in the form of a model's A. */
ZM_API void EigenSolution(int n, const double* a, double* wr, double* wi, double* z,
                          int* nfound);

/** Solves A x = lambda B x with eigenvectors. The eigenvalues keep the unit they have (rad/s)
    and stand on the diagonals of er and ei; other elements there are left alone. Column i of
    vr and vi receives the real and the imaginary part of vector i, those of both members of a
    pair. Each of the four n x n arrays may be null. All else is as for EigenSolution, without
    the file. */
ZM_API void GeneralEigenSolution(int n, const double* a, const double* b, double* er,
                                 double* ei, double* vr, double* vi, int* nfound);

/** Balances the column-major n x n matrix a in place, by exchanges of rows and columns and by
    scaling with powers of 16, and writes its transpose to out: out[r*n + c] = a[c*n + r].
    Returns true; with n < 1 or a null a nothing is written, with a null out only a. */
ZM_API bool VibMatrix_Balance(double* out, double* a, int n);

#ifdef __cplusplus
}
#endif

#endif /* ZEMRA_API_ZMAPI_C_H */
