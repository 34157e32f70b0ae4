#include "tools/zemra/samples.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <optional>
#include <string_view>

#include "tools/zemra/failure.h"

namespace Tool {
namespace {

// Before the first character of a UTF-8 file that comes from a spreadsheet.
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The fields of a line; quotes around one are taken off, a comma inside them is part of it.
std::vector<std::string> Fields(std::string_view line) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (std::size_t k = 0; k < line.size(); ++k) {
        if (line[k] == '"' && quoted && k + 1 < line.size() && line[k + 1] == '"')
            fields.back() += line[++k];
        else if (line[k] == '"')
            quoted = !quoted;
        else if (line[k] == ',' && !quoted)
            fields.emplace_back();
        else
            fields.back() += line[k];
    }
    for (std::string& field : fields) field = Trimmed(field);
    return fields;
}

std::optional<double> Number(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    double value = 0.0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
    return value;
}

// Lines end in LF, CR LF or CR.
bool ReadLine(std::istream& in, std::string& line) {
    line.clear();
    for (char c = 0; in.get(c);) {
        if (c == '\n') return true;
        if (c == '\r') {
            if (in.peek() == '\n') in.get();
            return true;
        }
        line += c;
    }
    return !line.empty();
}

}  // namespace

std::size_t Samples::Find(const std::string& option, const std::string& column) const {
    const auto named = std::find(names.begin(), names.end(), column);
    if (named != names.end()) return static_cast<std::size_t>(named - names.begin());
    std::size_t number = 0;
    const char* const end = column.data() + column.size();
    const auto [rest, error] = std::from_chars(column.data(), end, number);
    if (error != std::errc() || rest != end || number >= columns.size())
        throw BadInput(option + ": " + file + " has no column \"" + column + "\"");
    return number;
}

Samples ReadSamples(const std::string& file) {
    std::ifstream in(file, std::ios::in | std::ios::binary);
    if (!in) throw BadInput(file + ": cannot be opened");
    Samples samples{file, {}, {}};
    std::string line;
    for (long long number = 1; ReadLine(in, line); ++number) {
        const auto fail = [&](const std::string& what) {
            throw BadInput(fmt::format("{}:{}: {}", file, number, what));
        };
        std::string_view text = Trimmed(line);
        if (number == 1 && text.starts_with(kByteOrderMark))
            text = Trimmed(text.substr(kByteOrderMark.size()));
        if (text.empty() || text.starts_with('#')) continue;
        std::vector<std::string> fields = Fields(text);
        if (samples.columns.empty()) {
            samples.columns.resize(fields.size());
            if (!Number(fields.front())) {
                samples.names = std::move(fields);
                continue;
            }
        }
        if (fields.size() != samples.columns.size())
            fail("expected " + std::to_string(samples.columns.size()) + " values, found " +
                 std::to_string(fields.size()));
        for (std::size_t c = 0; c < fields.size(); ++c) {
            const std::optional<double> value = Number(fields[c]);
            if (!value || !std::isfinite(*value))
                fail("expected a finite number, found \"" + fields[c] + "\"");
            samples.columns[c].push_back(*value);
        }
    }
    if (in.bad() || !in.eof()) throw BadInput(file + ": cannot be read");
    if (samples.columns.empty() || samples.columns.front().empty())
        throw BadInput(file + ": holds no numbers");
    for (std::size_t c = samples.names.size(); c < samples.columns.size(); ++c)
        samples.names.push_back("column " + std::to_string(c));
    return samples;
}

}  // namespace Tool
