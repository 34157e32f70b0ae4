#pragma once

#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace Example {

/// A dense matrix, column-major: element (i, j) is values[i + j·rows].
struct DumpedMatrix {
    int rows = 0;
    int columns = 0;
    std::vector<double> values;
};

/// The matrices of ẋ = A·x + B·u, y = C·x + D·u.
struct DumpedModel {
    DumpedMatrix A, B, C, D;
};

/// Says what is wrong with a dump file, as "file:line: reason".
class DumpError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads a model dump: for each matrix A, B, C, D in turn the lines
///
///     AMATRIX:
///     TYPE: DENSE
///       ROWSIZE: r
///       COLUMNSIZE: c
///       COLUMNORDER:
///
/// and r·c lines of one number each, column by column. Lines end in LF, CR LF or CR; blanks
/// around a line and empty lines after the last number do not count. Every number is read to
/// the double nearest to it, so a dump gives back the bits it was written from.
///
/// Memory grows with what the file holds, not with the sizes it claims.
class DumpReader {
  public:
    explicit DumpReader(std::string file)
        : file_(std::move(file)), in_(file_, std::ios::in | std::ios::binary) {
        if (!in_) throw DumpError(file_ + ": cannot be opened");
    }

    /// Throws DumpError.
    DumpedModel Read() {
        DumpedModel model;
        model.A = ReadMatrix("AMATRIX:");
        model.B = ReadMatrix("BMATRIX:");
        model.C = ReadMatrix("CMATRIX:");
        model.D = ReadMatrix("DMATRIX:");
        while (ReadLine())
            if (!Text().empty()) Fail("nothing may follow the last matrix");
        return model;
    }

  private:
    static constexpr std::size_t kLongestLine = 256;

    std::string file_;
    std::ifstream in_;
    std::string line_;
    long long number_ = 0;  // of the line, counting from 1

    [[noreturn]] void Fail(const std::string& reason) const {
        throw DumpError(file_ + ":" + std::to_string(number_) + ": " + reason);
    }

    DumpedMatrix ReadMatrix(const std::string& name) {
        ExpectLine(name);
        ExpectLine("TYPE: DENSE");
        DumpedMatrix matrix;
        matrix.rows = ReadSize("ROWSIZE:");
        matrix.columns = ReadSize("COLUMNSIZE:");
        ExpectLine("COLUMNORDER:");
        const long long count = static_cast<long long>(matrix.rows) * matrix.columns;
        for (long long k = 0; k < count; ++k) matrix.values.push_back(ReadValue());
        return matrix;
    }

    void ExpectLine(const std::string& expected) {
        if (NextText(expected) != expected) Fail("expected \"" + expected + "\"");
    }

    int ReadSize(const std::string& label) {
        const std::string_view text = NextText(label);
        int size = -1;
        if (!text.starts_with(label) || !Parse(Trimmed(text.substr(label.size())), size) ||
            size < 0)
            Fail("expected \"" + label + "\" and a size");
        return size;
    }

    double ReadValue() {
        double value = 0.0;
        if (!Parse(NextText("a number"), value)) Fail("expected a number");
        return value;
    }

    std::string_view NextText(const std::string& expected) {
        if (!ReadLine()) Fail("the file ends before " + expected);
        return Text();
    }

    std::string_view Text() const { return Trimmed(line_); }

    static std::string_view Trimmed(std::string_view text) {
        constexpr std::string_view kBlanks = " \t";
        const std::size_t first = text.find_first_not_of(kBlanks);
        if (first == std::string_view::npos) return {};
        return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
    }

    // Whether the whole of text is one number that T can hold.
    template <typename T>
    static bool Parse(std::string_view text, T& value) {
        const char* const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, value);
        return error == std::errc() && rest == end;
    }

    // Reads one line without its end; false after the last one.
    bool ReadLine() {
        line_.clear();
        ++number_;
        char c = 0;
        while (in_.get(c)) {
            if (c == '\n') return true;
            if (c == '\r') {
                if (in_.peek() == '\n') in_.get();
                return true;
            }
            if (line_.size() == kLongestLine) Fail("the line is too long");
            line_ += c;
        }
        if (in_.bad()) Fail("the file cannot be read");
        return !line_.empty();
    }
};

}  // namespace Example
