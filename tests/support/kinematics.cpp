#include "tests/support/kinematics.h"

#include <algorithm>
#include <complex>

namespace ZEMRA::Vibration::tests {

Model Constrainable(const Model& model, const Inputs& inputs) {
    const Eigen::Index n = model.A.rows() / 2;
    Model full = model;
    full.B.setZero(2 * n, static_cast<Eigen::Index>(inputs.size()));
    for (Eigen::Index j = 0; const Input& input : inputs) full.B(n + input.coordinate, j++) = 1;
    full = WithMotions(full);
    for (const Input& input : inputs)
        if (input.Moves()) full = Prescribe(full, input.coordinate, input.type);
    return full;
}

Eigen::MatrixXcd ConstrainedSolution(const Model& model, const Inputs& inputs, double w) {
    using Scalar = std::complex<long double>;
    using Dense = Eigen::Matrix<Scalar, Eigen::Dynamic, Eigen::Dynamic>;
    using Column = Eigen::Matrix<Scalar, Eigen::Dynamic, 1>;
    const Eigen::Index n = model.A.rows() / 2;
    const Scalar jw(0, w);
    const Dense Z = jw * jw * Dense::Identity(n, n) -
                    model.A.bottomLeftCorner(n, n).cast<Scalar>() -
                    jw * model.A.bottomRightCorner(n, n).cast<Scalar>();
    std::vector<int> held, free;
    for (const Input& input : inputs)
        if (input.Moves()) held.push_back(input.coordinate);
    for (int i = 0; i < n; ++i)
        if (std::find(held.begin(), held.end(), i) == held.end()) free.push_back(i);

    Eigen::MatrixXcd response(3 * n, inputs.size());
    for (Eigen::Index j = 0; const Input& input : inputs) {
        Column q = Column::Unit(n, input.coordinate);
        if (input.Moves()) {
            for (int i = 0; i < input.Order(); ++i) q /= jw;
            q(free) =
                -Dense(Z(free, free)).partialPivLu().solve(Dense(Z(free, held)) * q(held));
        } else {
            q = Z.partialPivLu().solve(q).eval();
        }
        Column all(3 * n);
        all << q, jw * q, jw * jw * q;
        response.col(j++) = all.cast<Complex>();
    }
    return response;
}

std::unique_ptr<KinematicSystem> Build(const Model& full, const Actuators& actuators, Form form,
                                       const std::vector<int>& modes) {
    const auto A = ToCore(full.A), B = ToCore(full.B), C = ToCore(full.C), D = ToCore(full.D);
    if (form == Form::StateSpace) {
        const KinematicModel m(B, C, D, actuators);
        return std::make_unique<KinematicSystemSS>(0, A, B, m.C(), m.D(), m.Bhat(), m.Chat(),
                                                   m.Dhat(), actuators);
    }
    CapturedMessages solverReports;
    const EigenProblem eigen = Modal::Solved(full);
    const Canon canon(A, B, C, D, static_cast<int>(modes.size()), modes.data(), eigen);
    const KinematicModel m(canon.B(), canon.C(), canon.D(), actuators);
    return std::make_unique<KinematicSystemMS>(0, canon.A(), canon.B(), m.C(), m.D(), m.Bhat(),
                                               m.Chat(), m.Dhat(), actuators, eigen);
}

std::unique_ptr<KinematicSystem> Build(const Model& model, const Inputs& inputs, Form form,
                                       const std::vector<int>& modes) {
    static Excitation excitation{Amplitude};
    return Build(Constrainable(model, inputs), Actuators(excitation, inputs), form, modes);
}

}  // namespace ZEMRA::Vibration::tests
