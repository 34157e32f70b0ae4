#pragma once

#include <algorithm>
#include <complex>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/captured_messages.h"
#include "tests/support/excitation.h"
#include "tests/support/systems.h"
#include "zemra/system/kinematic_model.h"
#include "zemra/system/kinematic_system_ms.h"
#include "zemra/system/kinematic_system_ss.h"

namespace ZEMRA::Vibration::tests {

/// An input: a force ('F') at a coordinate, or its prescribed motion of order 0, 1 or 2.
struct Input {
    int coordinate;
    char type;
    bool Moves() const { return type != 'F'; }
    int Order() const { return static_cast<int>(std::string("DVA").find(type)); }
};
using Inputs = std::vector<Input>;

/// The model, of coordinates and their rates, with forces at the coordinates of all inputs, per
/// mass there. Outputs: all displacements, velocities, accelerations, the prescribed motions.
inline Model Constrainable(const Model& model, const Inputs& inputs) {
    const Eigen::Index n = model.A.rows() / 2;
    Model full = model;
    full.B.setZero(2 * n, static_cast<Eigen::Index>(inputs.size()));
    for (Eigen::Index j = 0; const Input& input : inputs) full.B(n + input.coordinate, j++) = 1;
    full = WithMotions(full);
    for (const Input& input : inputs) {
        if (!input.Moves()) continue;
        const Eigen::Index row = input.Order() * n + input.coordinate, rows = full.C.rows();
        full.C.conservativeResize(rows + 1, Eigen::NoChange);
        full.D.conservativeResize(rows + 1, Eigen::NoChange);
        full.C.row(rows) = full.C.row(row);
        full.D.row(rows) = full.D.row(row);
    }
    return full;
}

/// The outputs before the prescribed motions, from Z·q = f with Z = K + jwR − w²M, every row
/// over its mass, in extended precision. Under a motion of 1 the coordinates that the others
/// prescribe are held, and move to the right-hand side; a force acts on the model as if no
/// motion were prescribed.
inline Eigen::MatrixXcd ConstrainedSolution(const Model& model, const Inputs& inputs,
                                            double w) {
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

/// Actuators of the inputs' types; input j has the channel j of the excitation.
struct Actuators {
    std::deque<Actuator> owned;
    std::vector<const Actuator*> pointers;

    Actuators(Excitation& source, const Inputs& inputs, bool psd = false,
              const std::vector<const Actuator*>& cross = {}) {
        for (int j = 0; const Input& input : inputs) {
            const Excitation::Block block{&source, j++};
            pointers.push_back(
                &owned.emplace_back(input.type, Excitation::Evaluate, sizeof block, &block, psd,
                                    static_cast<int>(cross.size()), cross.data()));
        }
    }
    operator Matrix1D<const Actuator*>() const {
        return {static_cast<int>(pointers.size()), pointers.data()};
    }
};

enum class Form { StateSpace, Modal };

inline std::unique_ptr<KinematicSystem> Build(const Model& full, const Actuators& actuators,
                                              Form form = Form::StateSpace,
                                              const std::vector<int>& modes = {}) {
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

}  // namespace ZEMRA::Vibration::tests
