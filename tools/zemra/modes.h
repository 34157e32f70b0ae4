#pragma once

#include <complex>
#include <string>
#include <vector>

#include "tools/zemra/model_file.h"
#include "tools/zemra/table.h"
#include "zemra/zmapi.h"

namespace Tool {

/// One mode: a real eigenvalue or a conjugate pair, of which the member with the positive
/// imaginary part is listed.
struct Mode {
    int number;  // from 0, as a selection of modes counts
    int index;   // of the eigenvalue
    std::complex<double> eigenvalue;
    std::string kind;    // "real", "pair", "rigid" or "chain"
    std::string remark;  // "unstable", "undamped" or empty
    double residual;
    std::string states;  // those that move most

    double Frequency() const { return std::abs(eigenvalue); }  // rad/s, undamped
    /// −σ/|λ|: negative for a motion that grows; 0 for an eigenvalue of 0.
    double Damping() const;
};

/// The modulus up to which an eigenvalue counts as a rigid-body one, 1e-8 of the largest.
double RigidBound(const std::vector<std::complex<double>>& eigenvalues);

/// The solved eigen problem of the model's A. Throws NoResult when the library found none.
ZmAPI_EigenProblem SolveEigenProblem(const ModelFile& model);
std::vector<std::complex<double>> Eigenvalues(const ZmAPI_EigenProblem& problem);
std::vector<Mode> FindModes(const ModelFile& model, const ZmAPI_EigenProblem& problem);

Table ModeTable(const std::vector<Mode>& modes);

/// "mode 3, 1.234 Hz".
std::string ModeName(const Mode& mode);

}  // namespace Tool
