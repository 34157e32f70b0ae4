#pragma once

#include <stdexcept>

#include "tests/support/data_folder.h"

namespace ZEMRA::Vibration::tests {

/// Reads a "real general" Matrix Market coordinate file.
inline ::Eigen::MatrixXd ReadMatrixMarket(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line) && line.starts_with('%')) continue;
    long rows = 0, columns = 0, count = 0, i = 0, j = 0;
    double value = 0;
    std::istringstream(line) >> rows >> columns >> count;
    ::Eigen::MatrixXd m = ::Eigen::MatrixXd::Zero(rows, columns);
    while (count > 0 && in >> i >> j >> value) {
        m(i - 1, j - 1) = value;
        --count;
    }
    if (rows == 0 || count != 0) throw std::runtime_error("cannot read " + file.string());
    return m;
}

}  // namespace ZEMRA::Vibration::tests
