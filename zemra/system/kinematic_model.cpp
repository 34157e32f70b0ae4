#include "zemra/system/kinematic_model.h"

#include "zemra/system/abcd.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kActuatorCount[] = "KinematicModel: %d actuators for a model of %d inputs.";

// count rows of M from the given one on.
Matrix2D<double> Rows(const Matrix2D<double>& M, int first, int count) {
    Matrix2D<double> rows(count, M.Size(1));
    for (int i = 0; i < count; ++i) rows.Row(i) = M.Row(first + i);
    return rows;
}

// The columns of M at the given inputs.
Matrix2D<double> Columns(const Matrix2D<double>& M, const std::vector<int>& inputs) {
    Matrix2D<double> columns(M.Size(0), static_cast<int>(inputs.size()));
    for (int i = 0; i < M.Size(0); ++i)
        std::transform(inputs.begin(), inputs.end(), columns.Row(i).Data(),
                       [&](int j) { return M(i, j); });
    return columns;
}

}  // namespace

std::vector<int> KinematicInputs(const Matrix1D<const Actuator*>& actuators) {
    std::vector<int> inputs;
    inputs.reserve(static_cast<std::size_t>(actuators.Size(0)));
    for (int j = 0; j < actuators.Size(0); ++j)
        if (actuators(j)->DVAType() != 'F') inputs.push_back(j);
    return inputs;
}

KinematicModel::KinematicModel(const Matrix2D<double>& B, const Matrix2D<double>& C,
                               const Matrix2D<double>& D,
                               const Matrix1D<const Actuator*>& actuators) {
    if (actuators.Size(0) != B.Size(1))
        throw Error(kActuatorCount) << actuators.Size(0) << B.Size(1);
    const std::vector<int> kinematic = KinematicInputs(actuators);
    const int k = static_cast<int>(kinematic.size()), p = C.Size(0) - k;
    if (p < 0 || C.Size(1) != B.Size(0) || D.Size(0) != C.Size(0) || D.Size(1) != B.Size(1))
        throw ABCDSizeError(B.Size(0), B, C, D);

    C_ = Rows(C, 0, p);
    D_ = Rows(D, 0, p);
    Bhat_ = Columns(B, kinematic);
    Chat_ = Rows(C, p, k);
    Dhat_ = Columns(Rows(D, p, k), kinematic);
}

}  // namespace ZEMRA::Vibration
