#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "tests/support/matrices.h"

namespace ZEMRA::Vibration::tests {

/// The folder of collected models that ZEMRA_MODEL_DATA names; empty when it names none.
inline std::filesystem::path ModelFolder() {
    const char* const folder = std::getenv("ZEMRA_MODEL_DATA");
    return folder ? folder : "";
}

/// A folder of other collected data beside it; empty when there is none.
inline std::filesystem::path DataFolder(const std::string& kind) {
    const std::filesystem::path folder = ModelFolder() / ".." / kind;
    return ModelFolder().empty() || !is_directory(folder) ? std::filesystem::path() : folder;
}

/// The numbers of a file of comma-separated values, whose other lines begin with no digit.
inline Table<double> ReadNumbers(const std::filesystem::path& file) {
    std::ifstream in(file);
    Table<double> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.find_first_of("0123456789") != 0) continue;
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream numbers(line);
        rows.push_back({std::istream_iterator<double>(numbers), {}});
    }
    return rows;
}

}  // namespace ZEMRA::Vibration::tests
