#include "zemra/eigen/chains.h"

namespace ZEMRA::Vibration {

int FindEndOfDefectiveChain(int i, const Matrix1D<int>& D) {
    int last = i;
    for (int j = 0; j < D.Size(0); ++j)
        if (j > i && D(j) == last) last = j;
    return last;
}

std::vector<int> ChainMembers(int head, const Matrix1D<int>& D) {
    std::vector<int> members{head};
    for (int j = head + 1; j < D.Size(0); ++j)
        if (D(j) == members.back()) members.push_back(j);
    return members;
}

}  // namespace ZEMRA::Vibration
