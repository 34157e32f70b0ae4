#pragma once

#include <string>
#include <vector>

namespace Tool {

/// Numbers of a CSV file, column by column.
struct Samples {
    std::string file;
    std::vector<std::string> names;  // of the header, or "column 0", …
    std::vector<std::vector<double>> columns;

    /// The column of a name or a number from 0. Throws BadInput.
    std::size_t Find(const std::string& option, const std::string& column) const;
};

/// Reads comma-separated numbers: every row has as many as the first. Lines that begin with #
/// and empty ones do not count; a first row that does not begin with a number names the
/// columns. Throws BadInput with file and line.
Samples ReadSamples(const std::string& file);

}  // namespace Tool
