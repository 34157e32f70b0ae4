#include "tools/zemra/commands.h"

#include <fmt/format.h>

#include <numeric>
#include <utility>

#include "tools/zemra/model.h"

namespace Tool {

std::optional<GridRequest> AskedGrid(const Arguments& arguments) {
    if (!arguments.hertz.empty())
        return ParseGrid("--hz", arguments.hertz, true, !arguments.linear);
    if (!arguments.radians.empty())
        return ParseGrid("--rad", arguments.radians, false, !arguments.linear);
    return std::nullopt;
}

Table ChannelTable(std::string title, const std::pair<std::string, std::string>& headings,
                   const std::vector<Channel>& channels) {
    std::vector<double> number(channels.size());
    std::iota(number.begin(), number.end(), 0.0);
    std::vector<std::string> name, unit;
    for (const Channel& channel : channels) {
        name.push_back(channel.name);
        unit.push_back(channel.unit);
    }
    Table table{std::move(title), {}};
    table.Add(headings.first, "", std::move(number));
    table.Add(headings.second, "", std::move(name));
    table.Add("unit", "", std::move(unit));
    return table;
}

bool CheckComplete(std::size_t done, std::size_t total, Messages& messages) {
    if (done == total) return true;
    messages.Note(fmt::format("stopped after {} of {} frequencies", done, total));
    return false;
}

ResponsePlot::ResponsePlot(std::string title, const Grid& grid, Messages& messages)
    : x_(grid.shown), messages_(messages) {
    const std::string axis = grid.Name() + " [" + grid.Unit() + "]";
    const bool logarithmic = !x_.empty() && x_.front() > 0.0;
    plot_.title = std::move(title);
    plot_.panels = {{axis, "magnitude", logarithmic, true, false},
                    {axis, "phase [deg]", logarithmic, false, true}};
}

void ResponsePlot::Add(const std::string& name, const std::string& unit,
                       const std::vector<std::complex<double>>& values) {
    if (plot_.panels.front().series.size() == kMostSeries) {
        messages_.Note(
            fmt::format("the plot shows the first {} curves only (--input, --output "
                        "or --column choose)",
                        kMostSeries));
        return;
    }
    const std::string label = unit.empty() ? name : name + " [" + unit + "]";
    plot_.panels[0].series.push_back({label, x_, Magnitudes(values)});
    plot_.panels[1].series.push_back({name, x_, Phases(values)});
}

}  // namespace Tool
