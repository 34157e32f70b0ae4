#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/zemra/arguments.h"
#include "tools/zemra/grid.h"
#include "tools/zemra/messages.h"
#include "tools/zemra/model_file.h"
#include "tools/zemra/plot.h"
#include "tools/zemra/table.h"

namespace Tool {

/// What a command found: tables, of which the last goes to a CSV file and all to a JSON file.
struct Result {
    std::vector<Table> tables{};
    /// The first so many tables are printed even when a file takes the results, and only they.
    std::size_t summaries = 0;
    Plot plot{};
    bool complete = true;  // false after Ctrl-C
};

// One function for each command. They throw BadInput and NoResult.
Result Info(const Arguments& arguments, Messages& messages);
Result Modes(const Arguments& arguments, Messages& messages);
Result Responses(const Arguments& arguments, Messages& messages);
Result Densities(const Arguments& arguments, Messages& messages);
Result Coordinates(const Arguments& arguments, Messages& messages);
Result Participations(const Arguments& arguments, Messages& messages);
Result Compliance(const Arguments& arguments, Messages& messages);
/// Writes the page itself; the result holds nothing.
Result Report(const Arguments& arguments, Messages& messages);
Result Fft(const Arguments& arguments, Messages& messages);
Result Spectrum(const Arguments& arguments, Messages& messages);
Result EvaluateElements(const Arguments& arguments, Messages& messages);
Result IdentifyElement(const Arguments& arguments, Messages& messages);

/// The grid that the command line asks for, if any.
std::optional<GridRequest> AskedGrid(const Arguments& arguments);

/// Channels numbered from 0, with names and units; headings of the numbers and names.
Table ChannelTable(std::string title, const std::pair<std::string, std::string>& headings,
                   const std::vector<Channel>& channels);

/// Says on standard error that Ctrl-C ended a sweep early, where it did. Returns whether the
/// sweep is complete.
bool CheckComplete(std::size_t done, std::size_t total, Messages& messages);

/// Magnitude and phase of complex curves over common axes: the first kMostSeries of them, with
/// a remark when there are more.
class ResponsePlot {
  public:
    ResponsePlot(std::string title, const Grid& grid, Messages& messages);
    void Add(const std::string& name, const std::string& unit,
             const std::vector<std::complex<double>>& values);
    Plot Take() { return std::move(plot_); }

  private:
    Plot plot_;
    std::vector<double> x_;
    std::string unit_;
    Messages& messages_;
};

}  // namespace Tool
