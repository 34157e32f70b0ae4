#pragma once

#include <cstddef>
#include <locale>
#include <ostream>
#include <string>
#include <vector>

namespace Example {

/// Writes comma-separated values below a header row. The numbers have 17 significant digits,
/// enough to read the same bits back.
class CsvWriter {
  public:
    /// The stream must outlive the writer; names must hold no comma.
    CsvWriter(std::ostream& out, const std::vector<std::string>& names) : out_(out) {
        out_.imbue(std::locale::classic());
        out_.precision(17);
        WriteRow(names);
    }

    void Row(const std::vector<double>& values) { WriteRow(values); }

  private:
    std::ostream& out_;

    template <typename T>
    void WriteRow(const std::vector<T>& cells) {
        for (std::size_t i = 0; i < cells.size(); ++i) out_ << (i ? "," : "") << cells[i];
        out_ << '\n';
    }
};

}  // namespace Example
