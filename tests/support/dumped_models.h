#pragma once

#include <stdexcept>
#include <vector>

#include "examples/support/dump_reader.h"
#include "tests/support/data_folder.h"
#include "tests/support/models.h"

namespace ZEMRA::Vibration::tests {

inline ::Eigen::MatrixXd FromDump(const Example::DumpedMatrix& m) {
    return ::Eigen::Map<const ::Eigen::MatrixXd>(m.values.data(), m.rows, m.columns);
}

/// The collected models in the folder that ZEMRA_MODEL_DATA names, by their names there; none
/// where it names no folder. Throws where that holds none.
inline std::vector<Model> DumpedModels() {
    std::vector<Model> models;
    if (ModelFolder().empty()) return models;
    for (const auto& file : std::filesystem::directory_iterator(ModelFolder())) {
        const std::string name = file.path().filename();
        if (!name.ends_with(".txt") || name.ends_with("_channels.txt")) continue;
        const auto [A, B, C, D] = Example::DumpReader(file.path()).Read();
        models.push_back({name, FromDump(A), FromDump(B), FromDump(C), FromDump(D)});
    }
    if (models.empty()) throw std::runtime_error("no model dump in " + ModelFolder().string());
    return models;
}

}  // namespace ZEMRA::Vibration::tests
