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
Model Constrainable(const Model& model, const Inputs& inputs);

/// The outputs before the prescribed motions, from Z·q = f with Z = K + jwR − w²M, every row
/// over its mass, in extended precision. Under a motion of 1 the coordinates that the others
/// prescribe are held, and move to the right-hand side; a force acts on the model as if no
/// motion were prescribed.
Eigen::MatrixXcd ConstrainedSolution(const Model& model, const Inputs& inputs, double w);

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

std::unique_ptr<KinematicSystem> Build(const Model& full, const Actuators& actuators,
                                       Form form = Form::StateSpace,
                                       const std::vector<int>& modes = {});
/// The same of an unconstrained model whose inputs Amplitude drives.
std::unique_ptr<KinematicSystem> Build(const Model& model, const Inputs& inputs,
                                       Form form = Form::StateSpace,
                                       const std::vector<int>& modes = {});

}  // namespace ZEMRA::Vibration::tests
