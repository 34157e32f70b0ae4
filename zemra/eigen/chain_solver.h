#pragma once

#include "zemra/eigen/schur_form.h"
#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// Finds the vector of a repeated real eigenvalue λ whose back-substitution in T has stopped:
/// usually a generalized eigenvector, (T − λI)·y_k = y_e with e the end of a chain that stands
/// to the left of k.
///
/// With several chains of λ the chain of the row that stopped need not be the one to extend,
/// and a combination of chains may be: y_k then solves
///   (T_k − λI)·y' − Σ_e c_e·y_e = −T(0 … k−1, k),   y_k = (y', 1),
/// over the ends e of all chains of λ. Without any c_e it is an ordinary eigenvector. With
/// several, the longest chain takes up the others: c_e/c_a times their vectors, aligned at the
/// ends, are added to its own, which keeps its relations and makes y_k/c_a its next member.
/// This is the step by which Jordan chains are built one column at a time.
class ChainSolver {
  public:
    enum class Outcome { kGeneralized, kOrdinary, kNoSolution };

    /// Works on columns of Y (n × n), E, D and the diagonal of T. All are borrowed.
    ChainSolver(SchurForm& T, Matrix1D<Complex>& E, Matrix1D<int>& D, FlatMatrix<double> Y)
        : T_(T), E_(E), D_(D), Y_(Y) {}

    /// Fills column k, whose substitution stopped at row m, and links it. A generalized vector
    /// takes over the eigenvalue of its chain bit for bit, in E and on the diagonal of T.
    /// Without a solution nothing is changed but column k. Cost: O(k³).
    Outcome Extend(int k, int m);

  private:
    SchurForm& T_;
    Matrix1D<Complex>& E_;
    Matrix1D<int>& D_;
    FlatMatrix<double> Y_;

    bool ExtendChainOf(int m, int k);
    Outcome ExtendCombination(int k, double tolerance);
    void Link(int k, int end);
    void StoreColumn(int k, const double* y);
    bool Follows(int k, const double* y, const double* rhs) const;
};

}  // namespace ZEMRA::Vibration
