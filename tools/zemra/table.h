#pragma once

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

namespace Tool {

/// One column of a table: numbers or texts.
struct Column {
    std::string name;
    std::string unit;  // may be empty
    std::variant<std::vector<double>, std::vector<std::string>> values;

    std::size_t Size() const;
    /// "name [unit]", or the name alone.
    std::string Header() const;
};

/// Columns of equal length.
struct Table {
    std::string title;
    std::vector<Column> columns;

    Column& Add(std::string name, std::string unit, std::vector<double> values);
    Column& Add(std::string name, std::string unit, std::vector<std::string> values);
    std::size_t Rows() const;
};

/// Columns aligned for reading, with six digits; a row of headers first.
std::string Aligned(const Table& table);

/// Comma-separated values below a row of headers. A number is written with the digits that give
/// the same bits back; what is not a number is "nan".
std::string Csv(const Table& table);

/// {"model": …, "command": …, "tables": [{"title", "columns": [{"name", "unit", "values"}]}]}.
/// JSON has no NaN and no infinity: those are null.
std::string Json(const std::string& source, const std::string& command, bool complete,
                 const std::vector<Table>& tables);

/// A unit that may be missing divided by another: "m/N".
std::string Quotient(const std::string& unit, const std::string& divisor);
/// A density's unit, "unit^2/Hz".
std::string PerHertz(const std::string& unit);

}  // namespace Tool
