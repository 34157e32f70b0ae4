#pragma once

#include <vector>

#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration {

/// Chains of generalized eigenvectors. A link D(i) = i marks an ordinary eigenvector, which may
/// be the head of a chain; D(i) = p ≠ i marks a generalized one with (A − λI)·v_i = v_p.
/// Members of a chain have ascending indices.

/// The last member of the chain that begins at i: starting from last = i, every later j whose
/// link D(j) is last becomes last. i itself when nothing links to it.
int FindEndOfDefectiveChain(int i, const Matrix1D<int>& D);

/// The members of the chain that begins at head, head first.
std::vector<int> ChainMembers(int head, const Matrix1D<int>& D);

}  // namespace ZEMRA::Vibration
