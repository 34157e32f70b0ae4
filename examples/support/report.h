#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/support/csv_writer.h"
#include "examples/support/message_log.h"
#include "examples/support/svg_plot.h"
#include "zemra/zmapi.h"

namespace Example {

/// Prints figures beside their references and remembers whether one missed its bound.
class Report {
  public:
    /// A title, and the heads of the columns below it.
    void Section(const std::string& title) {
        std::printf("%s%s\n", empty_ ? "" : "\n", title.c_str());
        Line("", "computed", "reference", "rel. error", "bound");
        empty_ = false;
    }

    /// The relative error, |computed − reference|/|reference|, must not exceed the bound;
    /// beside a reference of 0 it is the absolute one.
    void Check(const std::string& name, double computed, double reference, double bound) {
        Judge(name, Text(computed), Text(reference), std::abs(computed - reference),
              std::abs(reference), bound);
    }
    void Check(const std::string& name, std::complex<double> computed,
               std::complex<double> reference, double bound) {
        Judge(name, Text(computed), Text(reference), std::abs(computed - reference),
              std::abs(reference), bound);
    }

    /// Two real or complex curves over the same points. The error is the largest difference
    /// relative to the largest reference, so that a curve may pass near zero.
    template <typename T>
    void CheckCurve(const std::string& name, const std::vector<T>& computed,
                    const std::vector<T>& reference, double bound) {
        const bool sameSize = computed.size() == reference.size() && !computed.empty();
        double difference = sameSize ? 0.0 : std::nan(""), largest = 0.0;
        for (std::size_t k = 0; sameSize && k < computed.size(); ++k) {
            const double d = std::abs(computed[k] - reference[k]);
            if (!(d <= difference)) difference = d;  // keeps a NaN
            if (std::isnan(d)) break;
            largest = std::max(largest, std::abs(reference[k]));
        }
        Judge(name, std::to_string(computed.size()) + " points", "", difference, largest,
              bound);
    }

    bool Good() const { return good_; }

  private:
    bool empty_ = true, good_ = true;

    static std::string Text(double value) { return Format("%.9g", value); }
    static std::string Text(std::complex<double> value) {
        return Format("%.7f", value.real()) + Format("%+.7fj", value.imag());
    }
    static std::string Format(const char* format, double value) {
        char text[48];
        std::snprintf(text, sizeof text, format, value);
        return text;
    }

    void Judge(const std::string& name, const std::string& computed,
               const std::string& reference, double difference, double size, double bound) {
        const double error = size > 0.0 ? difference / size : difference;
        const bool inside = error <= bound;  // false for a NaN
        Line(name, computed, reference, Format("%.1e", error),
             (bound > 0.0 ? Format("%.0e", bound) : "exact") + (inside ? "" : "  MISSED"));
        good_ = good_ && inside;
    }

    static void Line(const std::string& name, const std::string& computed,
                     const std::string& reference, const std::string& error,
                     const std::string& bound) {
        std::printf("  %-36s %22s %22s %11s  %s\n", name.c_str(), computed.c_str(),
                    reference.c_str(), error.c_str(), bound.c_str());
    }
};

/// Calls write(std::ostream&) on a new file; throws when the file cannot be written.
template <typename Write>
void WriteFile(const std::filesystem::path& file, const Write& write) {
    std::ofstream out(file);
    if (out) write(out);
    out.close();
    if (!out) throw std::runtime_error(file.string() + ": cannot be written");
}

struct Column {
    std::string name;  // with its unit
    std::vector<double> values;
};

/// Columns of equal length as comma-separated values.
inline void WriteCsv(const std::filesystem::path& file, const std::vector<Column>& columns) {
    WriteFile(file, [&](std::ostream& out) {
        std::vector<std::string> names;
        names.reserve(columns.size());
        for (const Column& column : columns) names.push_back(column.name);
        CsvWriter csv(out, names);
        std::vector<double> row(columns.size());
        for (std::size_t k = 0; k < columns.front().values.size(); ++k) {
            for (std::size_t i = 0; i < row.size(); ++i) row[i] = columns[i].values.at(k);
            csv.Row(row);
        }
    });
}

inline void WriteSvg(const std::filesystem::path& file, const SvgPlot& plot) {
    WriteFile(file, [&](std::ostream& out) { plot.Write(out); });
}

/// The main program of an example: calls run(report, directory) with the directory that the
/// command line names, the current one by default. The exit code is 1, with a line on standard
/// error, when a figure misses its bound, the library reports an error or run throws.
template <typename Run>
int RunExample(const char* program, int argc, char** argv, const Run& run) {
    try {
        const MessageLog log(program);
        Report report;
        run(report, std::filesystem::path(argc > 1 ? argv[1] : "."));
        if (report.Good() && log.Errors() == 0) return 0;
        if (!report.Good()) std::fprintf(stderr, "%s: a figure misses its bound\n", program);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", program, error.what());
    }
    return 1;
}

}  // namespace Example
