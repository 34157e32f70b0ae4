#include "tools/zemra/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

namespace Tool {
namespace {

bool IsText(const Column& column) {
    return std::holds_alternative<std::vector<std::string>>(column.values);
}

std::string Cell(const Column& column, std::size_t row, bool forReading) {
    if (IsText(column)) return std::get<std::vector<std::string>>(column.values)[row];
    const double value = std::get<std::vector<double>>(column.values)[row];
    if (std::isnan(value)) return "nan";  // without a sign
    return forReading ? fmt::format("{:.6g}", value + 0.0) : fmt::format("{}", value);
}

// In characters, of which the ones that follow in UTF-8 do not count.
std::size_t Width(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & '\xc0') != '\x80'; }));
}

std::string Quoted(const std::string& text) {
    if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
    std::string result = "\"";
    for (const char c : text) result += c == '"' ? std::string("\"\"") : std::string(1, c);
    return result + "\"";
}

}  // namespace

std::size_t Column::Size() const {
    return std::visit([](const auto& v) { return v.size(); }, values);
}

std::string Column::Header() const { return unit.empty() ? name : name + " [" + unit + "]"; }

Column& Table::Add(std::string name, std::string unit, std::vector<double> values) {
    return columns.emplace_back(Column{std::move(name), std::move(unit), std::move(values)});
}

Column& Table::Add(std::string name, std::string unit, std::vector<std::string> values) {
    return columns.emplace_back(Column{std::move(name), std::move(unit), std::move(values)});
}

std::size_t Table::Rows() const { return columns.empty() ? 0 : columns.front().Size(); }

std::string Aligned(const Table& table) {
    std::vector<std::string> lines(table.Rows() + 1, " ");
    for (const Column& column : table.columns) {
        std::vector<std::string> cells{column.Header()};
        cells.reserve(lines.size());
        for (std::size_t k = 0; k < table.Rows(); ++k) cells.push_back(Cell(column, k, true));
        std::size_t width = 0;
        for (const std::string& cell : cells) width = std::max(width, Width(cell));
        for (std::size_t k = 0; k < cells.size(); ++k) {
            const std::string blanks(width - Width(cells[k]), ' ');
            (lines[k] += ' ') += IsText(column) ? cells[k] + blanks : blanks + cells[k];
        }
    }
    std::string result = table.title.empty() ? "" : table.title + "\n";
    for (std::string& line : lines) {
        line.erase(line.find_last_not_of(' ') + 1);
        result += line + "\n";
    }
    return result;
}

std::string Csv(const Table& table) {
    std::string result;
    for (std::size_t c = 0; c < table.columns.size(); ++c)
        (result += c ? "," : "") += Quoted(table.columns[c].Header());
    result += '\n';
    for (std::size_t k = 0; k < table.Rows(); ++k) {
        for (std::size_t c = 0; c < table.columns.size(); ++c)
            (result += c ? "," : "") += Quoted(Cell(table.columns[c], k, false));
        result += '\n';
    }
    return result;
}

std::string Json(const std::string& source, const std::string& command, bool complete,
                 const std::vector<Table>& tables) {
    using Object = nlohmann::ordered_json;
    Object all = {{"source", source},
                  {"command", command},
                  {"complete", complete},
                  {"tables", Object::array()}};
    for (const Table& table : tables) {
        Object columns = Object::array();
        for (const Column& column : table.columns) {
            Object entry = {{"name", column.name}, {"unit", column.unit}};
            std::visit([&](const auto& v) { entry["values"] = v; }, column.values);
            columns.push_back(std::move(entry));
        }
        all["tables"].push_back({{"title", table.title}, {"columns", std::move(columns)}});
    }
    // A name that is not UTF-8 must not stop the output.
    return all.dump(1, ' ', false, Object::error_handler_t::replace) + "\n";
}

std::string Quotient(const std::string& unit, const std::string& divisor) {
    if (unit == divisor) return "";
    if (divisor.empty()) return unit;
    const auto bracketed = [](const std::string& factor, const char* signs) {
        return factor.find_first_of(signs) == std::string::npos ? factor : "(" + factor + ")";
    };
    return (unit.empty() ? "1" : bracketed(unit, "/")) + "/" + bracketed(divisor, "/*. ");
}

std::string PerHertz(const std::string& unit) {
    if (unit.empty()) return "1/Hz";
    const bool product = unit.find_first_of("/*. ^") != std::string::npos;
    return (product ? "(" + unit + ")" : unit) + "^2/Hz";
}

}  // namespace Tool
