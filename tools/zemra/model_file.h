#pragma once

#include <optional>
#include <string>
#include <vector>

#include "examples/support/dump_reader.h"
#include "tools/zemra/excitation.h"
#include "tools/zemra/grid.h"

namespace Tool {

/// What is known of an input, an output or a state.
struct Channel {
    std::string name;
    std::string unit;  // may be empty
};

/// A model as its file gives it. Each list is as long as the matrices ask for: without a JSON
/// file the channels are called "input 0" and so on, and all inputs are forces of one unit.
/// The motions that inputs prescribe, the last rows of C, are no outputs.
struct ModelFile {
    std::string file;
    std::string name;
    double time = 0.0;
    Example::DumpedModel matrices;
    std::vector<Channel> inputs, outputs, states;
    bool statesNamed = false;
    std::vector<Excitation> excitations;
    std::vector<CrossDensity> cross;
    std::vector<int> modes;  // empty for all
    std::optional<GridRequest> grid;
};

/// Reads a model dump, or a JSON file that names one. Throws BadInput with the file and the
/// line or key.
ModelFile ReadModel(const std::string& file);

/// How many modes the eigenvalues make is not known here: throws BadInput unless the numbers
/// are ascending and not negative.
void CheckModes(const std::string& name, const std::vector<int>& modes);

}  // namespace Tool
